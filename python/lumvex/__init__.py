"""Lumvex documents in Python: measurements of loudspeakers and rooms as numpy arrays.

    import lumvex

    with lumvex.open("room.lvp") as doc:
        for name, datum in doc.data.items():
            print(name, datum.samplerate, datum.data.shape)
        response = doc["Left/Bi amp/Measurements/On axis"].data

Documents are read as far as they are asked for. Arrays are the caller's own, of shape (rows, columns): each row is a
sample or a frequency, each column a channel. help(lumvex.Measurement) tells units and meanings.
"""

from __future__ import annotations

import os as _os
from typing import Any, Union

try:
    import numpy as _numpy  # noqa: F401
except ImportError:
    raise ImportError("lumvex needs numpy: apt install python3-numpy, or pip install numpy") from None

from . import _classes, _objects
from ._classes import *  # noqa: F401,F403
from ._classes import Project, Specifications
from ._errors import ClosedError, Error, NotFoundError, UnsavedWarning
from ._objects import Change, Indexed, Subscription
from ._objects import ObjectBase as Object
from ._views import members_of as properties
from ._views import to_dataframe

_MODES = {"r": 1, "r+": 2}


def open(file: Union[str, bytes, "_os.PathLike[Any]"], mode: str = "r") -> Any:
    """Opens a document, a Project or a library of Specifications, whichever the file holds.

    "r"   to read it; other programs may read it and write into it meanwhile
    "r+"  to change it; save() puts the changes into the file. Other programs may read it
    "w"   a new document, which replaces what is in the file
    "x"   a new document in a new file; fails with FileExistsError where there is one
    "a"   as "r+", or as "x" where there is no file

    A new document is a library where the file's name ends in ".lvs", else a project. Raises lumvex.Error, which also
    is FileNotFoundError, PermissionError, BlockingIOError (another program has the file open) or what else it means.
    """
    path = _os.fsdecode(file)
    is_library = path.lower().endswith(".lvs")
    kinds = [Specifications, Project] if is_library else [Project, Specifications]
    if mode == "a":
        mode = "r+" if _os.path.exists(path) else "x"
    if mode in _MODES:
        return _objects.opened(kinds, path, _MODES[mode])
    if mode in ("w", "x"):
        return _objects.created(kinds[0], path, is_new=mode == "x")
    raise ValueError(f"the mode is 'r', 'r+', 'w', 'x' or 'a', not {mode!r}")


__all__ = [*_classes.__all__, "Change", "ClosedError", "Error", "Indexed", "NotFoundError", "Object", "Subscription",
           "UnsavedWarning", "open", "properties", "to_dataframe"]
