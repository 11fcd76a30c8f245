"""The version of the package, which is that of its libraries."""

VERSION = "0.1.0"
