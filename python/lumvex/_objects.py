"""What the classes that are made from the tables have in common: how objects, collections and documents behave in
Python. Nothing here knows a single class or property."""

from __future__ import annotations

import operator
import os
import warnings
from collections.abc import Sequence
from typing import Any, Callable, Generic, Iterator, TypeVar, overload

from numpy.typing import NDArray

from . import _errors, _lumvex, _views

Array = NDArray[Any]
Self = TypeVar("Self")
M = TypeVar("M", bound="ObjectBase")
V = TypeVar("V")

# The words that people write for the values of each enumeration.
WORDS: dict[type, dict[int, str]] = {}

_OPEN_READ, _OPEN_WRITE = 1, 2  # LXAccessMode
_MOST_LISTED = 12


class Indexed(Sequence, Generic[V]):  # type: ignore[type-arg]
    """The values of an indexed property, counted from 0. Each is read and set in the document itself."""

    __slots__ = ("_object", "_member", "_leading")

    def __init__(self, owner: Any, member: Any, leading: tuple[int, ...] = ()) -> None:
        self._object, self._member, self._leading = owner, member, leading

    def __len__(self) -> int:
        lowest, highest = self._member.ranges[len(self._leading)]
        if highest is not None:
            return int(highest - lowest + 1)
        count = 0  # as many as the object has
        while True:
            try:
                self._member.get_at(self._object, *self._leading, lowest + count)
            except _errors.InvalidError:
                return count
            count += 1

    def _place(self, index: Any) -> tuple[int, ...]:
        index, length = int(operator.index(index)), len(self)
        if not -length <= index < length:
            raise IndexError(f"{self._member.__name__} has {length} places, not {index}")
        return (*self._leading, int(self._member.ranges[len(self._leading)][0]) + index % length)

    @overload
    def __getitem__(self, index: int) -> V: ...
    @overload
    def __getitem__(self, index: slice) -> list[V]: ...
    @overload
    def __getitem__(self, index: tuple[int, ...]) -> Any: ...
    def __getitem__(self, index: Any) -> Any:
        if isinstance(index, slice):
            return [self[each] for each in range(*index.indices(len(self)))]
        if isinstance(index, tuple):
            found: Any = self[index[0]]
            return found[index[1:]] if len(index) > 1 else found
        place = self._place(index)
        if len(place) < len(self._member.ranges):
            return Indexed(self._object, self._member, place)
        return self._member.get_at(self._object, *place)

    def __setitem__(self, index: Any, value: Any) -> None:
        if isinstance(index, tuple):
            target: Any = self if len(index) == 1 else self[index[0]]
            target[index[0] if len(index) == 1 else index[1:]] = value
            return
        if isinstance(index, slice):
            places = range(*index.indices(len(self)))
            values = list(value)
            if len(values) != len(places):
                raise ValueError(f"{self._member.__name__}: {len(places)} values are wanted, not {len(values)}")
            for each, one in zip(places, values):
                self[each] = one
            return
        place = self._place(index)
        if len(place) < len(self._member.ranges):
            Indexed(self._object, self._member, place)[:] = value
        else:
            self._member.set_at(self._object, value, *place)

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Sequence) and not isinstance(other, str) and list(self) == list(other)

    __hash__ = None  # type: ignore[assignment]

    def __repr__(self) -> str:
        return repr(list(self))


_lumvex.register_indexed(Indexed)


def _label(instance: Any) -> str:
    return _lumvex.path_of_file(instance) or "the document"


def adding(method: Any) -> Callable[..., Any]:
    """add() of a collection, which takes properties of the new member as well."""

    def add(self: Any, *arguments: Any, **properties: Any) -> Any:
        given = {name: properties.pop(name) for name in method.parameters if name in properties}
        for name in properties:
            if not hasattr(type(self).member_class, name):
                raise TypeError(f"add() takes no {name!r}: a {type(self).member_class.__name__} has no such property")
        member = method(self, *arguments, **given)
        try:
            for name, value in properties.items():
                setattr(member, name, value)
        except BaseException:
            self.remove(member)
            raise
        return member

    add.__doc__ = (method.__doc__ + "\n\nFurther keyword arguments are properties of the new member: "
                   "add(\"woofer\", data=response, samplerate=48000). Where one is refused, nothing is added.")
    return add


class ObjectBase(_lumvex.Handle):
    """An object of a document. Equal are handles of the same object; the hash is that of its ID."""

    __slots__ = ()

    @property
    def path(self) -> str:
        """The address of the object in its document: document[path] is the object again."""
        return _lumvex.path_of(self)

    def __repr__(self) -> str:
        return _views.text_of(self)

    def _repr_html_(self) -> str:
        return _views.html_of(self)

    def to_dict(self, *, arrays: bool = True) -> Any:
        """All properties with all that is below the object, of a collection a list: enumerations as they are, references as addresses,
        collections as lists, arrays as numpy arrays or, without `arrays`, as their shapes."""
        return _views.dict_of(self, arrays)

    def to_json(self, *, arrays: bool = True, indent: int | None = None) -> str:
        """The same as JSON: enumerations as their words, dates as ISO 8601, arrays as {"rows", "columns", "type",
        "values": a list for each column}."""
        return _views.json_of(self, arrays, indent)


class _Addressed(ObjectBase):
    """What has collections below it, which addresses lead through."""

    __slots__ = ()

    def __getitem__(self, address: str) -> Any:
        """The object at an address: names from here down, as "Left/Bi amp/Measurements/On axis". Collections may be
        left out, letter case does not matter, and the beginning of a name will do as long as only one object is meant;
        "[2]" is a place, counted from 1, and '...' a whole name with any characters. An ID is an address, too."""
        if not isinstance(address, str):
            raise TypeError(f"an address is a str, not {type(address).__name__}")
        return _lumvex.find(self, address, _label(self))

    def find(self, address: str) -> list[Any]:
        """All objects that an address leads to, in which * stands for any characters and ? for any one:
        "Left/*/Measurements/On*". An empty list where there is none."""
        try:
            return _lumvex.find_all(self, address, _label(self))
        except _errors.NotFoundError:
            return []

    def __contains__(self, address: object) -> bool:
        return isinstance(address, str) and bool(self.find(address))

    __iter__ = None  # an item or document is no sequence


class ItemBase(_Addressed):
    """A member of a collection."""

    __slots__ = ()


class CollectionBase(ObjectBase, Generic[M]):
    """A sequence of its members, which are counted from 0, and a mapping of their names. Iteration gives the members;
    of several with one name, the name means the first."""

    __slots__ = ()
    member_class: Any = None

    def __len__(self) -> int:
        return int(_lumvex.call(self, "Count"))

    def __bool__(self) -> bool:
        return len(self) > 0

    def __iter__(self) -> Iterator[M]:
        return _lumvex.iterate(self, "objects")

    @overload
    def __getitem__(self, key: int | str) -> M: ...
    @overload
    def __getitem__(self, key: slice) -> list[M]: ...
    def __getitem__(self, key: Any) -> Any:
        """By place, by slice, or by name regardless of letter case; what has a slash may be an address."""
        if isinstance(key, str):
            found = self._named(key)
            if found is None and "/" in key:
                found = _lumvex.find(self, key, _label(self))
            if found is None:
                raise _errors.NotFoundError(f"{self._title()} has no {key!r}; there is {self._names()}")
            return found
        if isinstance(key, slice):
            return [_lumvex.call(self, "Item", place + 1) for place in range(*key.indices(len(self)))]
        return _lumvex.call(self, "Item", self._place(key) + 1)

    def _named(self, name: str) -> Any:
        return _lumvex.call(self, "FindName", name)

    def _title(self) -> str:
        return type(self).__name__

    def _names(self) -> str:
        names = []
        for name in self.keys():
            names.append(repr(name))
            if len(names) > _MOST_LISTED:
                names[-1] = "..."
                break
        return ", ".join(names) or "nothing"

    def _place(self, key: Any) -> int:
        index, length = operator.index(key), len(self)
        if not -length <= index < length:
            raise IndexError(f"{self._title()} has {length} members, not {index}")
        return index % length

    def __contains__(self, key: object) -> bool:
        if isinstance(key, str):
            return self._named(key) is not None
        return isinstance(key, _lumvex.Handle) and any(each == key for each in self)

    def __reversed__(self) -> Iterator[M]:
        return reversed(self[:])

    def get(self, name: str, default: Any = None) -> Any:
        """The first member of a name, or the default."""
        found = self._named(name)
        return default if found is None else found

    def keys(self) -> Iterator[str]:
        """The names of the members."""
        return _lumvex.iterate(self, "names")

    def values(self) -> Iterator[M]:
        """The members."""
        return iter(self)

    def items(self) -> Iterator[tuple[str, M]]:
        """The members with their names; the fastest way to go through all of them."""
        return _lumvex.iterate(self, "items")

    def index(self, member: Any) -> int:
        """The place of a member, or of the first of a name; ValueError for what is not in the collection."""
        if isinstance(member, str):
            member = self[member]
        for place, each in enumerate(self):
            if each == member:
                return place
        raise ValueError(f"{self._title()} has no {member!r}")

    def __delitem__(self, key: Any) -> None:
        """Removes members, by place, slice or name, with all that is below them. One whose `locks` is not 0 stays."""
        found = self[key]
        for member in reversed(found) if isinstance(key, slice) else [found]:
            self.remove(member)

    def remove(self, member: Any) -> None:
        """Removes a member, or the first of a name, with all that is below it."""
        if isinstance(member, str):
            member = self[member]
        if not (isinstance(member, _lumvex.Handle) and _lumvex.remove_member(self, member)):
            raise ValueError(f"{self._title()} has no {member!r}")

    def clear(self) -> None:
        """Removes every member whose `locks` is 0; fails where one stays."""
        _lumvex.call(self, "RemoveAll")

    def find(self, address: str) -> list[Any]:
        """All objects below the collection that an address leads to, which may have * and ? for any characters."""
        try:
            return _lumvex.find_all(self, address, _label(self))
        except _errors.NotFoundError:
            return []


class Change:
    """What a subscriber is told: `kind` is "item", "collection" or "root"; `object` is what has changed; `type` is an
    LXEventType."""

    __slots__ = ("kind", "object", "type")

    def __init__(self, kind: str, changed: Any, number: int) -> None:
        from . import LXEventType  # which is made from the tables after this module

        self.kind, self.object, self.type = kind, changed, LXEventType(number)

    def __repr__(self) -> str:
        return f"<Change {self.type.name} of {self.kind} {self.object!r}>"


class Subscription:
    """A callback that a document calls; ends with end(), at the end of a `with`, or when the document is closed."""

    __slots__ = ("_document", "_made")

    def __init__(self, document: Any, made: Any) -> None:
        self._document, self._made = document, made

    def end(self) -> None:
        """After this the callback is not called any more. May be called again."""
        if self._made is not None:
            _lumvex.unsubscribe(self._document, self._made)
        self._document = self._made = None

    def __enter__(self: Self) -> Self:
        return self

    def __exit__(self, *_: Any) -> None:
        self.end()


class DocumentBase(_Addressed):
    """A document: a new one that has no file yet, or one that lumvex.open() has opened. It stays open as long as any of
    its objects is used, or until close() or the end of a `with`."""

    __slots__ = ()

    def __new__(cls: type[Self]) -> Self:
        made = _lumvex.create(f"I{cls.__name__}")
        made.access_mode = _OPEN_WRITE
        return made  # type: ignore[no-any-return]

    def __enter__(self: Self) -> Self:
        return self

    def __exit__(self, kind: Any, *_: Any) -> None:
        if kind is None and _lumvex.has_unsaved_changes(self) and self.file:
            warnings.warn(f"{self.file} is closed without what has changed since it was saved; save() keeps it",
                          _errors.UnsavedWarning, stacklevel=2)
        self.close()

    @property
    def file(self) -> str:
        """The path of the document's file; empty where it has none yet."""
        return _lumvex.path_of_file(self)

    @property
    def closed(self) -> bool:
        """True after close()."""
        return _lumvex.is_closed(self)

    def close(self) -> None:
        """Lets the file go, without reading or writing anything: what is not saved is lost. Arrays that were read stay
        as they are; objects of the document fail with 4009. May be called again."""
        _lumvex.close(self)

    def save(self) -> None:
        """Saves what has changed into the file, all of it or nothing."""
        self._save("SaveFile", self.file or None)

    def save_as(self, path: Any) -> None:
        """Saves everything into a new file, which replaces one that is there, and goes on with that file. A document
        that was opened to be read cannot."""
        self._save("SaveFileAs", os.fsdecode(path), os.fsdecode(path))
        _lumvex.set_path_of_file(self, os.fsdecode(path))

    def _save(self, how: str, path: str | None, *arguments: str) -> None:
        try:
            _lumvex.call(self, how, *arguments)
        except _errors.Error as error:
            is_for_reading = error.status == 0x80030005 and self.access_mode == _OPEN_READ  # type: ignore[attr-defined]
            text = "the document was opened to be read; mode \"r+\" is for changes" if is_for_reading else error.text
            raise _errors.error_of(error.status, text, path) from None
        _lumvex.set_saved(self)

    def subscribe(self, callback: Callable[[Change], None]) -> Subscription:
        """Calls back after each change of the document, on the thread that made it and before the change returns. What
        the callback throws goes to sys.unraisablehook. The document keeps the callback until it is closed, so that
        nothing need be done with the answer; end() ends it earlier."""
        made = _lumvex.subscribe(self, lambda kind, changed, number: callback(Change(kind, changed, number)))
        return Subscription(self, made)


def opened(kinds: list[Any], path: str, mode: int) -> Any:
    """The document in a file, as the first of the kinds that it is."""
    refused: list[_errors.Error] = []
    for kind in kinds:
        document = kind()
        document.access_mode = mode
        try:
            _lumvex.call(document, "OpenFile", path)
        except _errors.Error as error:
            refused.append(error)
            if error.status not in (0x80030002, 0x80040000 + 4014) or not os.path.isfile(path):
                break
        else:
            _lumvex.set_path_of_file(document, path)
            _lumvex.set_saved(document)
            return document
    if len(refused) == len(kinds):  # a file, and none of ours
        raise _errors.error_of(0x80040000 + 4014, "it is a compound file, but it holds no document", path)
    status, text = refused[-1].status, refused[-1].text
    if status == 0x80030005 and os.path.isdir(path):
        text = "it is a directory"
    raise _errors.error_of(status, text, path)


def created(kind: Any, path: str, is_new: bool) -> Any:
    """A new document in a new file; `is_new`: where no other may be."""
    if is_new:
        try:
            os.close(os.open(path, os.O_CREAT | os.O_EXCL | os.O_WRONLY, 0o666))
        except FileExistsError:
            raise _errors.error_of(0x80070050, "there is a file already", path) from None
        except FileNotFoundError:
            raise _errors.error_of(0x80030003, "there is no such folder", path) from None
    document = kind()
    try:
        document.save_as(path)
    except BaseException:
        if is_new:
            os.unlink(path)
        raise
    return document

