"""The exception raised by this package."""


class Error(ValueError):
    """An unusable argument or file. The message names it and says what was expected."""
