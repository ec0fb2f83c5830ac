"""What a call is to do: the options of vex, the files of the archive, and the tasks with their paths."""
