"""Runs vex over any span of days, piece by piece, and says truthfully what came of it.

The command is `vex-batch`; docs/batch.md describes it. An engine, which decides where pieces run, calls
`vexbatch.running.piece.run_piece` for each of them, or the command ``vex-batch run-piece PLAN NUMBER``.
"""
