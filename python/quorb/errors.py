"""Exceptions raised when a library call reports failure."""
from __future__ import annotations


class QuorbError(Exception):
    """A library call failed.

    ``function`` is the C function, ``result`` its status or key (None for a
    function without result), and ``line`` the library's error line for the
    failure ('' when it writes none).
    """

    def __init__(self, function: str, result: int | None, line: str = "") -> None:
        message = f"{function} failed" + ("" if result is None else f" with {result}")
        super().__init__(f"{message}: {line}" if line else message)
        self.function = function
        self.result = result
        self.line = line


class DuplicateError(QuorbError):
    """The store refused a vector equal to a stored one (key 0)."""
