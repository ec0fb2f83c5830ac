"""The statistics files of vex: their format, reading and merging."""
