"""Where tasks run: on this machine, as SLURM jobs, under Snakemake."""
