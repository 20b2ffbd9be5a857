"""Documents: opening in every mode, saving, closing, what goes wrong, and threads."""

import os
import pickle
import re
import threading
import warnings

import lumvex
import numpy
import pytest
from conftest import SOURCE


def test_what_the_readme_shows(tmp_path, monkeypatch, capsys):
    monkeypatch.chdir(tmp_path)
    with lumvex.open("room.lvp", "x") as made:
        made.data.add("woofer", data=[[20, 80], [200, 90]], samplerate=0)
        made.save()
    shown = re.findall(r"^```python\n(.*?)^```$", (SOURCE / "README.md").read_text(), re.M | re.S)
    assert len(shown[0].splitlines()) == 3
    for block in shown:
        exec(block, {"lumvex": lumvex})  # pylint: disable=exec-used
    assert capsys.readouterr().out == "[200.  90.] 0 Hz\nwoofer (2, 2) 0\nhalf (2, 2) 0\n"
    assert lumvex.open("room.lvp").data["half"].data[1, 1] == 45


@pytest.mark.parametrize("mode, exists, outcome", [
    ("r", True, "reads"), ("r", False, FileNotFoundError), ("r+", True, "writes"), ("r+", False, FileNotFoundError),
    ("w", True, "empty"), ("w", False, "empty"), ("x", True, FileExistsError), ("x", False, "empty"),
    ("a", True, "writes"), ("a", False, "empty"), ("rw", True, ValueError)])
def test_modes_are_those_of_python(tmp_path, mode, exists, outcome):
    path = tmp_path / "document.lvp"
    if exists:
        with lumvex.open(path, "x") as made:
            made.data.add("woofer")
            made.save()
    if isinstance(outcome, type):
        with pytest.raises(outcome) as caught:
            lumvex.open(path, mode)
        assert path.exists() == exists
        assert getattr(caught.value, "filename", None) in (None, str(path))
        return
    with lumvex.open(path, mode) as doc:
        assert list(doc.data.keys()) == ([] if outcome == "empty" else ["woofer"])
        doc.data.add("tweeter")
        if outcome == "reads":
            for save in (doc.save, lambda: doc.save_as(tmp_path / "copy.lvp")):
                with pytest.raises(PermissionError, match="opened to be read"):
                    save()
            doc.close()
            assert not (tmp_path / "copy.lvp").exists()
            return
        doc.save()
    assert list(lumvex.open(path).data.keys())[-1] == "tweeter"


def test_the_kind_of_document_is_the_files(tmp_path):
    lumvex.Specifications().save_as(tmp_path / "library.dat")
    with lumvex.open(tmp_path / "library.dat") as library, lumvex.open(tmp_path / "new.lvs", "w") as new:
        assert isinstance(library, lumvex.Specifications) and isinstance(new, lumvex.Specifications)


@pytest.mark.parametrize("prepare, status, builtin", [
    (lambda path: None, 0x80030002, FileNotFoundError),
    (lambda path: path.mkdir(), 0x80030005, PermissionError),
    (lambda path: path.write_bytes(b"no document" * 100), 0x80030050, ValueError)])
def test_what_cannot_be_opened_says_why(tmp_path, prepare, status, builtin):
    path = tmp_path / "document.lvp"
    prepare(path)
    with pytest.raises(lumvex.Error) as caught:
        lumvex.open(path)
    assert isinstance(caught.value, builtin) and caught.value.status == status
    assert str(path) in str(caught.value) and caught.value.text and "status 0x" not in caught.value.text


def test_a_second_writer_is_told_that_the_file_is_in_use(room):
    with lumvex.open(room, "r+"):
        with pytest.raises(BlockingIOError) as caught:
            lumvex.open(room, "r+")
        assert caught.value.status == 0x80030020 and caught.value.filename == str(room)
        with lumvex.open(room) as reader:
            assert len(reader.data) == 4


def test_a_document_of_any_size_is_opened_and_closed_without_reading_it(tmp_path):
    from lumvex import _lumvex
    path = tmp_path / "large.lvp"
    with lumvex.open(path, "w") as doc:
        for place in range(40):
            doc.data.add(f"response {place}", data=numpy.full((65536, 2), place, "f4"))
        doc.save()
    doc = lumvex.open(path)
    first = doc.data["response 7"]
    before = _lumvex.statistics(doc)["bytes_read"]
    assert before < 80_000 < path.stat().st_size == pytest.approx(40 * 524288, rel=0.1)
    assert first.data[-1, -1] == 7
    assert _lumvex.statistics(doc)["bytes_read"] - before < 600_000
    kept = doc.data["response 8"]
    array = first.data
    doc.close()
    path.unlink()
    assert array.sum() == 7 * 131072
    with pytest.raises(lumvex.Error) as caught:
        kept.data
    assert caught.value.status == 0x80040FA9  # 4009: the array was not read on the way out


def test_closing(room):
    doc = lumvex.open(room, "r+")
    assert not doc.closed and doc.file == str(room)
    datum = doc["one"]
    doc.close()
    doc.close()
    assert doc.closed and "closed" in repr(doc) and "closed" in doc._repr_html_() and datum.name == "one"
    with pytest.raises(ValueError, match="the document is closed"):
        doc.data
    lumvex.open(room, "r+").close()  # nobody holds the file any more


def test_a_document_stays_open_as_long_as_an_object_is_used(room):
    datum = lumvex.open(room).data["one"]
    assert datum.data.shape == (2, 2) and datum.root.file == str(room)


def test_leaving_changes_behind_is_warned_of(room):
    with pytest.warns(lumvex.UnsavedWarning, match="room.lvp"):
        with lumvex.open(room, "r+") as doc:
            doc["one"].samplerate = 5
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        with lumvex.open(room, "r+") as doc:
            assert doc["one"].samplerate == 0
            doc.data.add("new")
            doc.save()
        with pytest.raises(KeyError):  # the reason is known: no word about changes
            with lumvex.open(room, "r+") as doc:
                del doc.data["new"]
                raise KeyError
        with lumvex.open(room) as doc:
            doc.safe_array_type = lumvex.LXArray.DOUBLE
            assert "new" in doc.data
        lumvex.Project().__exit__(None)


def test_objects_cannot_be_pickled_and_say_why(room):
    doc = lumvex.open(room)
    for each in (doc, doc.data, doc["one"]):
        with pytest.raises(TypeError, match="cannot be pickled: it is a part of an open document"):
            pickle.dumps(each)
    with pytest.raises(TypeError, match="belong to documents"):
        lumvex.Datum()


def test_events(project):
    heard = []
    subscription = project.subscribe(heard.append)
    datum = project.data.add("woofer")
    datum.data = [1, 2]
    datum.name = "mid"
    project.units = "imperial"
    told = [(each.kind, each.type) for each in heard]
    kinds = lumvex.LXEventType
    assert ("item", kinds.DATA_CHANGE) in told and ("item", kinds.NAME_CHANGE) in told and ("root", kinds.DEFAULT) in told
    assert any(each.object == datum for each in heard) and any(each.object == project for each in heard)
    count = len(heard)
    subscription.end()
    subscription.end()
    datum.samplerate = 1
    assert len(heard) == count


def test_handlers_may_change_the_document_and_what_they_throw_is_reported(project, monkeypatch):
    reported = []
    monkeypatch.setattr("sys.unraisablehook", lambda what: reported.append(what.exc_value))

    def handler(change):
        if change.type == lumvex.LXEventType.DATA_CHANGE:
            change.object.samplerate = 96000
            raise RuntimeError("of the handler")

    with project.subscribe(handler):
        datum = project.data.add("woofer", data=[1.0])
    assert datum.samplerate == 96000 and "of the handler" in str(reported[0])


def test_eight_threads_use_one_document(room):
    """Each adds, changes, reads, finds, iterates and removes, while a handler of events calls back."""
    doc, rounds, failed, heard = lumvex.open(room, "r+"), 60, [], []
    doc.subscribe(lambda change: heard.append(change.object.name if change.kind == "item" else ""))
    original = doc["Left/Bi amp/Measurements/On axis"].data

    def work(number):
        try:
            for turn in range(rounds):
                mine = doc.data.add(f"{number}-{turn}", data=numpy.full((500, 2), number), samplerate=number)
                assert (doc["Left/Bi amp/On axis"].data == original).all()
                assert (mine.data == number).all() and doc.data[f"{number}-{turn}"] == mine
                assert sum(name.startswith(f"{number}-") for name in doc.data.keys()) == (turn + 1) // 2 + 1
                for other in doc.data:
                    hash(other)
                if turn % 2:
                    doc.data.remove(mine)
                if turn % 20 == 0:
                    doc.save()
        except BaseException as error:
            failed.append(error)

    threads = [threading.Thread(target=work, args=(number,)) for number in range(1, 9)]
    for each in threads:
        each.start()
    for each in threads:
        each.join()
    assert not failed and len(doc.data) == 4 + 8 * rounds // 2 and len(heard) > 8 * rounds
    doc.save()
    doc.close()
    with lumvex.open(room) as again:
        assert all((each.data == each.samplerate).all() for each in again.data[4:])


def test_other_threads_run_while_a_document_is_saved(tmp_path):
    """A handler that waits for another thread, which needs the interpreter: without giving it up both wait forever."""
    doc, ran = lumvex.open(tmp_path / "document.lvp", "w"), threading.Event()
    thread = threading.Thread(target=lambda: (doc.data.keys(), ran.set()))

    def handler(change):
        if not thread.ident:
            thread.start()
            assert not ran.wait(0.05)  # it waits for the call that is under way, and does not hold the interpreter

    doc.subscribe(handler)
    doc.data.add("x")
    thread.join(60)
    assert ran.is_set()


@pytest.mark.skipif(os.geteuid() == 0, reason="root may write everywhere")
def test_a_file_that_may_not_be_written(room):
    room.chmod(0o444)
    with pytest.raises(PermissionError):
        lumvex.open(room, "r+")
