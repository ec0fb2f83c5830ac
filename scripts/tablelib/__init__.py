"""What scripts/tables makes, by subject."""
