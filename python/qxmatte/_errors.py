"""The package's exceptions. The extension raises them: it takes these
classes when it is loaded."""
from __future__ import annotations

from typing import Optional


class Error(RuntimeError):
    """The library failed: it returned a failure value, or threw one.

    message: the failure in words. code: the value the library returned (-1
    for memory that ran out around it). function: the name of the library
    function that returned it, or None.
    """
    code: Optional[int] = None
    function: Optional[str] = None

    def __init__(self, message: str, code: Optional[int] = None, function: Optional[str] = None) -> None:
        super().__init__(message)
        self.code, self.function = code, function


class OutOfMemoryError(Error, MemoryError):
    """The library, or the buffers around it, ran out of memory (an Error
    and a MemoryError)."""
