"""The classes and enumerations of what is published, made from the tables that the compiled module carries. What type
checkers know of them is printed from the same tables: _classes.pyi."""

import enum
from typing import Any

from . import _lumvex, _objects

_BASES = {"_Collectable": _objects.ItemBase, "_Collection": _objects.CollectionBase, "_Root": _objects.DocumentBase}


def _enumerations() -> dict[str, Any]:
    made = {}
    for name, meaning, is_combined, values in _lumvex.published_enumerations():
        base = enum.IntFlag if is_combined else enum.IntEnum
        kind = base(name, [(value_name, value) for value_name, value, _ in values], module="lumvex")
        kind.__doc__ = meaning
        _lumvex.register_enumeration(name, {int(member): member for member in reversed(kind.__members__.values())})
        _objects.WORDS[kind] = {value: word for _, value, word in values if word}
        made[name] = kind
    return made


def _classes() -> dict[str, Any]:
    made: dict[str, Any] = {}
    by_published: dict[str, Any] = {}
    member_classes: dict[Any, str] = {}
    for name, published, base, meaning, members in _lumvex.published_classes():
        body: dict[str, Any] = {"__slots__": (), "__doc__": meaning, "__module__": "lumvex"}
        # A property that Python has a notation for is reached by that alone.
        body |= {member.__name__: member for member in members if member.__name__}
        if "add" in body:
            body["add"] = _objects.adding(body["add"])
        is_collection = any(member.published == "Item" for member in members)
        parent = by_published.get(base) or _BASES.get(published) or (
            _objects.CollectionBase if is_collection else _objects.ObjectBase)
        kind = type(name, (parent,), body)
        _lumvex.register_class(published, kind)
        made[name] = by_published[published] = kind
        if is_collection and published not in _BASES:
            member_classes[kind] = next(member for member in members if member.published == "Item").member_class
    for kind, published in member_classes.items():
        kind.member_class = by_published[published]
    return made


_made = _enumerations() | _classes()
globals().update(_made)
__all__ = list(_made)
