"""The index of an archive: which files hold pixels that a run may keep."""
