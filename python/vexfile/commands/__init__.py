"""What the subcommands of vexfile do: info, check, dump, convert, cat."""
