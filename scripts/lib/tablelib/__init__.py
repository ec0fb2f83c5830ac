"""What scripts/lib/tables makes, by subject."""
