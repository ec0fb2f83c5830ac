"""Files of records: what their headers say, where the records are, and their values as arrays, Datasets and tables."""
