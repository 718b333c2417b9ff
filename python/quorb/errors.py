"""Exceptions raised when a library call reports failure, by kind."""
from __future__ import annotations


class QuorbError(Exception):
    """A library call failed.

    ``function`` is the C function, ``result`` its status or key (None for a
    function without result), and ``line`` the error line the library wrote
    during that very call ('' when it wrote none).
    """

    def __init__(self, function: str, result: int | None, line: str = "") -> None:
        message = f"{function} failed" + ("" if result is None else f" with {result}")
        super().__init__(f"{message}: {line}" if line else message)
        self.function = function
        self.result = result
        self.line = line

    def __str__(self) -> str:  # KeyError would quote the message
        return Exception.__str__(self)


class NotStoredError(QuorbError, KeyError):
    """The key names no stored vector."""


class InvalidValueError(QuorbError, ValueError):
    """The library refused a value (a card, a field, an epoch, an array)."""


class DuplicateError(InvalidValueError):
    """The store refused a vector equal to a stored one (key 0)."""


# The beginnings of the library's messages for a key that names no stored
# vector: a composed key it could not find, or a DMA key that names no holder.
_NOT_STORED_MARKS = ("Unable to locate", "Invalid DMA key", "doesn't exist or was already",
                     "isn't a correct object")


def failure(function: str, result: int | None, line: str) -> QuorbError:
    """The exception of a failed call that wrote `line`, by what the line says."""
    kind = NotStoredError if any(mark in line for mark in _NOT_STORED_MARKS) else InvalidValueError
    return kind(function, result, line)
