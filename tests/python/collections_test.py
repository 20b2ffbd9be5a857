"""Collections as sequences and mappings, addresses, identity."""

import lumvex
import pytest


def names(members):
    return [each.name for each in members]


@pytest.fixture
def data(project):
    for name in ("one", "two", "Two", "three"):
        project.data.add(name)
    return project.data


def test_sequences(data):
    everything = ["one", "two", "Two", "three"]
    assert len(data) == 4 and names(data) == everything and names(reversed(data)) == everything[::-1]
    for key in (slice(None), slice(1, 3), slice(None, None, -1), slice(-2, None), slice(9, 12), slice(3, 0, -2)):
        assert names(data[key]) == everything[key]
    assert data[-1] == data[3] and data[0] != data[1] and data[2] in data and data.index(data[2]) == 2
    for key in (4, -5):
        with pytest.raises(IndexError, match="4 members"):
            data[key]
    with pytest.raises(TypeError):
        data[1.5]


def test_mappings(data):
    assert "TWO" in data and "four" not in data and 3 not in data
    assert data["TWO"] == data[1] and data.get("four") is None and data.get("one") == data[0]
    assert list(data.keys()) == names(data.values()) == [name for name, _ in data.items()]
    assert [member for _, member in data.items()] == list(data)
    with pytest.raises(KeyError, match="'four'; there is 'one', 'two', 'Two', 'three'"):
        data["four"]


def test_removal(data):
    last = data[3]
    del data["TWO"]
    assert names(data) == ["one", "Two", "three"]
    del data[-1]
    data.remove(data[0])
    assert names(data) == ["Two"] and last not in data
    with pytest.raises(ValueError):
        data.remove(last)
    with pytest.raises(lumvex.Error) as caught:
        last.parent
    assert caught.value.status == 0x80040FA9
    for name in "abc":
        data.add(name)
    del data[1:3]
    assert names(data) == ["Two", "c"]
    data[0].locks = 1
    with pytest.raises(lumvex.Error) as caught:
        del data["two"]
    assert caught.value.status == 0x80040FA8 and len(data) == 2
    data[0].locks = 0
    data.clear()
    assert not data and list(data) == []


def test_add_takes_properties_and_adds_nothing_where_one_is_refused(data):
    for properties, error in (({"samplerate": "fast"}, TypeError), ({"smaplerate": 3}, TypeError),
                              ({"samplerate": 3, "data": 5}, ValueError), ({"id": "x"}, AttributeError)):
        with pytest.raises(error):
            data.add("new", **properties)
        assert len(data) == 4
    assert data.add(name="new", samplerate=3).samplerate == 3
    for arguments in ((), ("a", "b"), (None,)):
        with pytest.raises(TypeError):
            data.add(*arguments)
    assert len(data) == 5


def test_the_library_and_its_fixed_table():
    library = lumvex.Specifications()
    assert names(library.configs) == ["Single amp", "Bi amp", "Tri amp", "Subwoofer"] and len(library.configs) == 4
    assert library.configs["Bi amp"].output_count == 2 and library.configs[1] == library.configs["Bi amp"]
    assert library.configs[-1].config_id is lumvex.LXConfig.SUBWOOFER and "Mono" not in library.configs
    with pytest.raises(IndexError):
        library.configs[4]


def test_addresses(room):
    doc = lumvex.open(room)
    measurement = doc["Left/Bi amp/Measurements/On axis"]
    assert isinstance(measurement, lumvex.Measurement) and measurement.samplerate == 44100
    for address in ("left/bi-amp/Measurements/on", measurement.path, measurement.id, "SpeakerEQs/[1]/Bi amp/on axis"):
        assert doc[address] == measurement
    assert doc.speakers["Left/Bi amp/On axis"] == doc["Left"]["bi-amp/on axis"] == measurement
    assert doc["two[2]"] == doc.data[2] and doc["/"] == doc and doc["Studio/Listener/'a/b'"].name == "a/b"
    assert names(doc.find("Left/*/Measurements/*axis")) == ["On axis", "Off axis"] and doc.find("nowhere") == []
    assert names(doc.data.find("t*")) == ["two", "two", "three"]
    assert "Left/Bi amp" in doc and "Right" not in doc
    for each in doc.descendants:
        assert doc[each.path] == each
    for address, said in (("Left/Tri amp", 'there is no "Tri amp" in SpeakerEQs/Left; there is SpkrEQConfigs'), ("two", "fits 2 objects"),
                          ("{10000000-0000-0000-0000-000000000000}", "no object of this ID"), ("'x", "not closed")):
        with pytest.raises(KeyError, match=said):
            doc[address]
    with pytest.raises(TypeError):
        doc[0]
    with pytest.raises(TypeError):
        iter(doc)


def test_identity(room):
    doc = lumvex.open(room)
    first, again = doc.data[0], doc.data["one"]
    assert first == again and first is not again and hash(first) == hash(again) and first != doc.data[1]
    assert len({first, again, doc.data[1], doc, doc.data[0].root}) == 3
    other = lumvex.open(room)
    assert other.data[0] != first and other.data[0].is_same_id(first) and hash(other.data[0]) == hash(first)
    assert first != "one" and not first == None  # noqa: E711


def test_the_rest_of_the_interface(project):
    datum = project.data.add("x", data=[1, 2])
    other = lumvex.Project()
    copy = datum.copy(other.data)
    assert copy.root == other and copy.data.tolist() == datum.data.tolist() and copy.id != datum.id
    assert datum.can_copy(other.data) is True and datum.can_copy(dst=other.rooms) is False
    assert project.find_id(datum.id) == project.load(id=datum.id) == datum
    assert project.data.find_id(datum.id, search_descendants=False) == datum and project.find_id("{x}") is None
    assert project.load("{00000000-0000-0000-0000-000000000000}") is None
    with pytest.raises(TypeError, match="takes no argument 'where'"):
        project.find_id(datum.id, where=1)


def test_iteration_goes_on_while_the_collection_changes(data):
    seen = []
    for each in data:
        seen.append(each.name)
        if each.name == "one":
            data.add("late")
            del data["three"]
    assert seen == ["one", "two", "Two", "three"] or seen == ["one", "two", "Two"]
    for place in range(1000):
        data.add(str(place))
    iterator = iter(data)
    next(iterator)
    data.clear()
    assert len(list(iterator)) < 1000
