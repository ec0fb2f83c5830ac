"""One task from its listing to its recorded state, and what is reported of all of them."""
