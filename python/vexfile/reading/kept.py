"""What was read last, kept up to a limit."""

from __future__ import annotations

import threading
from collections import OrderedDict
from typing import Any, Generic, TypeVar

T = TypeVar("T")

#: Of each file, bytes.
LIMIT = 64 << 20


class Kept(Generic[T]):
    """Blocks by their number; those used longest ago go first. Safe for threads; pickled empty."""

    def __init__(self) -> None:
        self._lock = threading.Lock()
        self._blocks: OrderedDict[int, tuple[T, int]] = OrderedDict()
        self._bytes = 0

    def __reduce__(self) -> tuple[Any, ...]:
        return (Kept, ())

    def get(self, number: int) -> T | None:
        """The block, when it is there."""
        with self._lock:
            if number not in self._blocks:
                return None
            self._blocks.move_to_end(number)
            return self._blocks[number][0]

    def put(self, number: int, block: T, size: int) -> T:
        """Keeps a block of `size` bytes, and returns it."""
        with self._lock:
            if number not in self._blocks:
                self._blocks[number] = (block, size)
                self._bytes += size
            while self._bytes > LIMIT and len(self._blocks) > 1:
                self._bytes -= self._blocks.popitem(last=False)[1][1]
        return block
