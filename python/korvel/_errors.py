"""What is raised."""


class Error(ValueError):
    """An argument or a file that cannot be used. The sentence says which, and what was expected."""
