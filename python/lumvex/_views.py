"""Objects as text, dictionaries, JSON, tables and small pictures. All of it follows from what the members say of
themselves."""

from __future__ import annotations

import datetime
import html
import json
import math
from typing import Any, Iterator

import numpy

from . import _errors, _lumvex, _objects


def members_of(kind: type) -> dict[str, Any]:
    """The properties of a class by name, its own before those of its bases."""
    found: dict[str, Any] = {}
    for each in kind.__mro__:
        for name, member in vars(each).items():
            if isinstance(member, (_lumvex.ReadOnly, _lumvex.Property)):
                found.setdefault(name, member)
    return found


def _of_kind(instance: Any, *kinds: str) -> Iterator[tuple[str, Any]]:
    return ((name, member) for name, member in members_of(type(instance)).items() if member.kind in kinds)


def _is_collection(instance: Any) -> bool:
    return isinstance(instance, _objects.CollectionBase)


# ---- text ----


def _shape(array: Any) -> str:
    return " x ".join(map(str, array.shape))


def text_of(instance: Any) -> str:
    """<Measurement 'On axis' 8192 x 2, 44100 Hz>: class, name and shape."""
    kind = type(instance).__name__
    try:
        if _is_collection(instance):
            return f"<{kind}, {len(instance)} members>"
        if isinstance(instance, _objects.DocumentBase):
            file = f" {instance.file!r}" if instance.file else ""
            return f"<{kind}{file}{', closed' if instance.closed else ''}>"
        name = f" {instance.name!r}" if hasattr(type(instance), "name") else ""
    except _errors.Error as error:
        return f"<{kind}: {error.text}>"
    facts = []
    try:
        for member_name, _ in _of_kind(instance, "array"):
            array = getattr(instance, member_name)
            if array is not None:
                facts.append(_shape(array) if member_name == "data" else f"{member_name} {_shape(array)}")
                rate: Any = getattr(instance, "samplerate", None)
                if member_name == "data" and rate:
                    facts.append(f"{rate:.0f} Hz")
    except _errors.Error as error:
        facts = [error.text]
    return f"<{kind}{name}{' ' if facts else ''}{', '.join(facts)}>"


# ---- dictionaries and JSON ----


def _plain(value: Any) -> Any:
    """Indexed values as lists; references as addresses."""
    if isinstance(value, _objects.Indexed):
        return [_plain(each) for each in value]
    return value.path if isinstance(value, _objects.ObjectBase) else value


def dict_of(instance: Any, arrays: bool) -> Any:
    if _is_collection(instance):
        return [dict_of(each, arrays) for each in instance]
    found: dict[str, Any] = {"class": type(instance).__name__}
    for name, _ in _of_kind(instance, "value", "reference"):
        found[name] = _plain(getattr(instance, name))
    for name, _ in _of_kind(instance, "array"):
        array: Any = getattr(instance, name)
        found[name] = array if arrays or array is None else array.shape
    for name, _ in _of_kind(instance, "collection"):
        found[name] = dict_of(getattr(instance, name), arrays)
    return found


def _word(value: Any) -> Any:
    """The word of an enumeration's value, the words of its bits; the number where there is none."""
    words = _objects.WORDS[type(value)]
    if int(value) in words:
        return words[int(value)]
    bits = [bit for bit in words if bit and int(value) & bit == bit]
    return "+".join(words[bit] for bit in bits) if bits and sum(bits) == int(value) else int(value)


def _number(value: float) -> Any:
    if math.isfinite(value):
        return value
    return "NaN" if math.isnan(value) else "Infinity" if value > 0 else "-Infinity"


def _jsonable(value: Any) -> Any:
    if isinstance(value, dict):
        return {name: _jsonable(each) for name, each in value.items()}
    if isinstance(value, (list, tuple)):
        return [_jsonable(each) for each in value]
    if isinstance(value, numpy.ndarray):
        # A number of 32 bits as the shortest text that reads as the same one.
        rows, columns = value.shape
        texts = value.dtype == numpy.float32
        values = [[_number(float(str(each)) if texts else each.item() if hasattr(each, "item") else each)
                   for each in column] for column in value.T]
        return {"rows": rows, "columns": columns, "type": str(value.dtype), "values": values}
    if type(value) in _objects.WORDS:
        return _word(value)
    if isinstance(value, datetime.datetime):
        return value.isoformat()
    return _number(value) if isinstance(value, float) else value


def json_of(instance: Any, arrays: bool, indent: int | None) -> str:
    return json.dumps(_jsonable(dict_of(instance, arrays)), indent=indent, ensure_ascii=False)


def to_dataframe(collection: Any) -> Any:
    """A pandas.DataFrame with a row for each member and a column for each property that is a number, text, date or
    enumeration. The units are in its attrs["units"]. Needs pandas."""
    try:
        import pandas  # type: ignore[import]
    except ImportError:
        raise ImportError("to_dataframe() needs pandas: apt install python3-pandas, or pip install pandas") from None
    members = {name: member for name, member in members_of(collection.member_class).items()
               if member.kind == "value" and not member.ranges}
    rows = [[getattr(each, name) for name in members] for each in collection]
    table = pandas.DataFrame(rows, columns=list(members))
    table.attrs["units"] = {name: member.unit for name, member in members.items() if member.unit}
    return table


# ---- pictures ----

_MOST_OBJECTS, _MOST_CURVES, _MOST_POINTS = 200, 24, 160
_WIDTH, _HEIGHT = 160, 36
_COLOURS = ("#1f77b4", "#d62728", "#2ca02c", "#9467bd")


def _points(values: Any) -> Any:
    """At most so many numbers that show the curve: of long ones the lowest and the highest of each part."""
    values = values[numpy.isfinite(values)]
    if len(values) <= _MOST_POINTS:
        return values
    parts = numpy.array_split(values, _MOST_POINTS // 2)
    return numpy.array([extreme(part) for part in parts for extreme in (numpy.min, numpy.max)])


def curve_of(array: Any, is_response: bool) -> str:
    """An SVG picture of the columns; of a frequency response (frequency, level, phase) of the levels."""
    if array is None or array.dtype.kind not in "fu" or array.size == 0:
        return ""
    columns = array[:, 1:2] if is_response and array.shape[1] > 1 else array[:, : len(_COLOURS)]
    curves: list[Any] = [_points(columns[:, place].astype(float)) for place in range(columns.shape[1])]
    curves = [each for each in curves if len(each) > 1]
    if not curves:
        return ""
    lowest, highest = (float(extreme(numpy.concatenate(curves))) for extreme in (numpy.min, numpy.max))
    scale = (_HEIGHT - 4) / ((highest - lowest) or 1)
    lines = []
    for colour, values in zip(_COLOURS, curves):
        places = " ".join(f"{place * _WIDTH / (len(values) - 1):.1f},{_HEIGHT - 2 - (value - lowest) * scale:.1f}"
                          for place, value in enumerate(values))
        lines.append(f'<polyline points="{places}" fill="none" stroke="{colour}" stroke-width="1"/>')
    return (f'<svg width="{_WIDTH}" height="{_HEIGHT}" viewBox="0 0 {_WIDTH} {_HEIGHT}" '
            f'style="vertical-align:middle">{"".join(lines)}</svg>')


class _Tree:
    """Writes a part of the tree as nested lists; a document may be of any size, so that it stops early and says so."""

    def __init__(self) -> None:
        self.objects, self.curves, self.text = 0, 0, []  # type: int, int, list[str]

    def add(self, instance: Any, title: str = "") -> None:
        self.objects += 1
        children = list(self._children(instance))
        head = f"<b>{html.escape(title or self._name(instance))}</b> {html.escape(self._facts(instance))}{self._curve(instance)}"
        if not children:
            self.text.append(f"<div style='margin-left:1.2em'>{head}</div>")
            return
        opened = " open=\"open\"" if self.objects < 30 else ""
        self.text.append(f"<details style='margin-left:1.2em'{opened}><summary>{head}</summary>")
        for name, child in children:
            if self.objects >= _MOST_OBJECTS:
                self.text.append("<div style='margin-left:1.2em'>...</div>")
                break
            self.add(child, name)
        self.text.append("</details>")

    def _children(self, instance: Any) -> Iterator[tuple[str, Any]]:
        if _is_collection(instance):
            for _, child in zip(range(_MOST_OBJECTS - self.objects + 1), instance):
                yield "", child
            return
        for name, _ in _of_kind(instance, "collection"):
            child = getattr(instance, name)
            if len(child) > 0:
                yield name, child

    @staticmethod
    def _name(instance: Any) -> str:
        if isinstance(instance, _objects.DocumentBase):
            return instance.file or type(instance).__name__
        return str(instance.name)

    @staticmethod
    def _facts(instance: Any) -> str:
        return f"({len(instance)})" if _is_collection(instance) else type(instance).__name__

    def _curve(self, instance: Any) -> str:
        if _is_collection(instance) or self.curves >= _MOST_CURVES:
            return ""
        for name, _ in _of_kind(instance, "array"):
            if name != "data":
                continue
            array = instance.data
            picture = curve_of(array, getattr(instance, "samplerate", None) == 0)
            self.curves += bool(picture)
            return f" {_shape(array)} {picture}" if array is not None else ""
        return ""


def html_of(instance: Any) -> str:
    if isinstance(instance, _objects.DocumentBase) and instance.closed:
        return html.escape(text_of(instance))
    tree = _Tree()
    tree.add(instance)
    return "".join(tree.text)
