"""The exceptions of lumvex. Each failed call gives one that is an Error and, where Python has a word for what has
happened, that exception as well."""

import errno
import os
from typing import Any


class Error(Exception):
    """A call that failed. `status` is the call's status, as 0x80030020; `text` what it said."""

    status: int = 0
    text: str = ""


class NotFoundError(Error, KeyError):
    """There is no such object; the text says how far the address leads and what there is."""

    def __init__(self, text: str = "") -> None:
        super().__init__(text)
        self.status, self.text = 0x80040000 + 4011, text

    def __str__(self) -> str:
        return self.text


class ClosedError(Error, ValueError):
    """The document is closed."""

    def __init__(self) -> None:
        super().__init__("the document is closed")
        self.status, self.text = 0x80040000 + 4009, "the document is closed"


class FileMissingError(Error, FileNotFoundError):
    """There is no such file or folder."""


class AccessError(Error, PermissionError):
    """The file may not be read or written."""


class BusyError(Error, BlockingIOError):
    """Another program has the file open."""


class ExistsError(Error, FileExistsError):
    """The file is there already."""


class FileError(Error, OSError):
    """The file could not be read or written."""


class FormatError(Error, ValueError):
    """The file is none of ours, or damaged."""


class InvalidError(Error, ValueError):
    """A value that is not taken."""


class KindError(Error, TypeError):
    """A value or an object of another kind than is taken."""


class PlaceError(Error, IndexError):
    """There is no such place."""


class OutOfMemoryError(Error, MemoryError):
    """There is not enough memory."""


class UnsavedWarning(UserWarning):
    """A document was closed without what had been changed in it."""


_WORDS = {
    0x80030002: "there is no such file, or it holds no document",
    0x80030003: "there is no such folder",
    0x80030004: "too many files are open",
    0x80030005: "permission denied",
    0x80030020: "another program has the file open",
    0x80030021: "another program has locked the file",
    0x80030050: "it is no compound file",
    0x80030070: "the disk is full",
    0x8003001D: "the file cannot be written",
    0x8003001E: "the file cannot be read, or something is missing from it",
    0x800300FB: "the header of the file is damaged",
    0x800300FC: "the name is too long or not allowed",
    0x80030109: "the file is damaged",
}
_OF_SYSTEM: dict[int, tuple[type[Error], int]] = {
    0x80030002: (FileMissingError, errno.ENOENT),
    0x80030003: (FileMissingError, errno.ENOENT),
    0x80070050: (ExistsError, errno.EEXIST),
    0x80030004: (FileError, errno.EMFILE),
    0x80030005: (AccessError, errno.EACCES),
    0x80070005: (AccessError, errno.EACCES),
    0x80030020: (BusyError, errno.EAGAIN),
    0x80030021: (BusyError, errno.EAGAIN),
    0x8003001D: (FileError, errno.EIO),
    0x8003001E: (FileError, errno.EIO),
    0x80030070: (FileError, errno.ENOSPC),
    0x800300FC: (FileError, errno.EINVAL),
}
_PLAIN: dict[int, type[Error]] = {
    0x80030050: FormatError,
    0x800300FB: FormatError,
    0x80030109: FormatError,
    0x80040000 + 4014: FormatError,
    0x80030008: OutOfMemoryError,
    0x8007000E: OutOfMemoryError,
    0x80070057: InvalidError,
    0x80004003: InvalidError,
    0x80040000 + 4002: InvalidError,
    0x80040000 + 4003: InvalidError,
    0x80040000 + 4010: NotFoundError,
    0x80040000 + 4011: NotFoundError,
    0x80020005: KindError,
    0x80040000 + 4004: KindError,
    0x80040000 + 4007: KindError,
    0x8002000B: PlaceError,
}


def error_of(status: int, text: str, path: Any = None) -> Error:
    """The exception for a status. `path`: the file that the call was about."""
    words = _WORDS.get(status)
    if words and text.startswith("status 0x"):
        text = words
    error: Error
    if status in _OF_SYSTEM:
        kind, number = _OF_SYSTEM[status]
        error = kind(number, text) if path is None else kind(number, text, os.fspath(path))
    else:
        error = _PLAIN.get(status, Error)(text if path is None else f"{os.fspath(path)}: {text}")
    error.status, error.text = status, text
    return error
