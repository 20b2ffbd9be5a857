"""Objects as text, dictionaries, JSON, tables and pictures, and the programs of samples/python."""

import importlib.util
import json
import re
import xml.etree.ElementTree

import lumvex
import numpy
import pytest
from conftest import SOURCE


@pytest.mark.parametrize("address, said", [
    ("Left/Bi amp/On axis", "<Measurement 'On axis' 10 x 2, 44100 Hz>"), ("one", "<Datum 'one' 2 x 2>"),
    ("Data", "<Data, 4 members>"), ("Studio", "<RoomEQ 'Studio'>"), ("Configs/Bi amp", "<Config 'Bi amp'>")])
def test_repr_says_class_name_and_shape(room, address, said):
    doc = lumvex.open(room)
    assert repr(doc[address]) == said and repr(doc) == f"<Project {str(room)!r}>"


def test_dictionaries_and_json_say_the_same(room):
    doc = lumvex.open(room)
    found = doc.to_dict()
    measurement = found["speakers"][0]["spkr_eq_configs"][0]["measurements"][0]
    assert measurement["class"] == "Measurement" and measurement["experiment"] == "Experiments/On axis"
    numpy.testing.assert_array_equal(measurement["data"], numpy.arange(20).reshape(10, 2))
    assert measurement["io_config"] is doc["Left/Bi amp/On axis"].io_config
    assert doc.to_dict(arrays=False)["data"][0]["data"] == (2, 2)
    said = json.loads(doc.to_json())
    assert said["units"] == "metric" and [each["name"] for each in said["data"]] == ["one", "two", "two", "three"]
    of_measurement = said["speakers"][0]["spkr_eq_configs"][0]["measurements"][0]
    assert of_measurement["data"] == {"rows": 10, "columns": 2, "type": "float32",
                                      "values": [list(range(0, 20, 2)), list(range(1, 20, 2))]}
    assert re.fullmatch(r"\d{4}-\d\d-\d\dT[\d:.]+", of_measurement["timestamp"])
    assert len(said["box_cfgs"][0]["xda_level_tweak"]) == 16
    one = doc.data[0]
    assert json.loads(one.to_json(arrays=False))["data"] == [2, 2] and "\n" in one.to_json(indent=1)


def test_numbers_that_json_has_not(project):
    datum = project.data.add("x", data=numpy.float32([0.1, numpy.nan, -numpy.inf]))
    assert json.loads(datum.to_json())["data"]["values"] == [[0.1, "NaN", "-Infinity"]]


def test_data_frames(room):
    pandas = pytest.importorskip("pandas", reason="pandas is not installed: to_dataframe() was not tried")
    table = lumvex.to_dataframe(lumvex.open(room).data)
    assert isinstance(table, pandas.DataFrame) and list(table["name"]) == ["one", "two", "two", "three"]
    assert table.attrs["units"]["samplerate"] == "Hz" and list(table["samplerate"]) == [0] * 4


def test_data_frames_without_pandas(room, monkeypatch):
    monkeypatch.setitem(__import__("sys").modules, "pandas", None)
    with pytest.raises(ImportError, match="apt install python3-pandas"):
        lumvex.to_dataframe(lumvex.open(room).data)


def test_notebooks_get_a_tree_with_curves(project):
    project.data.add("<b>&", data=numpy.sin(numpy.arange(5000) / 50))
    project.data.add("bad", data=[numpy.nan, numpy.inf])
    for place in range(300):
        project.data.add(f"n{place}", data=[1, 2, 3])
    said = project._repr_html_()
    tree = xml.etree.ElementTree.fromstring(f"<div>{said}</div>")  # well-formed: names are escaped
    assert 190 < said.count("<b>") < 210 and said.count("<svg") == 24 and "..." in said
    points = tree.find(".//polyline").get("points").split()
    heights = [float(each.split(",")[1]) for each in points]
    assert 100 < len(points) < 200 and min(heights) < 3 and max(heights) > 33


# ---- the samples ----


def sample(name, *needs):
    for module in needs:
        pytest.importorskip(module, reason=f"{module} is not installed: samples/python/{name}.py was not tried")
    path = SOURCE / "samples/python" / f"{name}.py"
    specification = importlib.util.spec_from_file_location(name, path)
    module = importlib.util.module_from_spec(specification)
    specification.loader.exec_module(module)
    return module


def test_samples_are_short():
    found = list((SOURCE / "samples/python").glob("*.py"))
    assert len(found) >= 4 and all(len(path.read_text().splitlines()) <= 40 for path in found)


def test_overlay_of_a_room(tmp_path):
    overlay = sample("overlay", "matplotlib")
    rate, rows = 48000, 4800
    frequencies = numpy.array([20.0, 1000, 20000])
    with lumvex.open(tmp_path / "room.lvp", "w") as doc:
        position = doc.rooms.add("Studio").positions.add("Listener")
        tone = numpy.sin(2 * numpy.pi * 1000 * numpy.arange(rows) / rate)
        position.measurements.add("impulse", data=numpy.column_stack([tone, tone / 10]), samplerate=rate)
        doc.rooms[0].positions.add("Sofa").measurements.add("levels", data=[80, 90, 85], samplerate=0)
        doc.data.add("levels", data=numpy.column_stack([frequencies, [80, 90, 85]]), samplerate=0)
        doc.save()
    figure = overlay.main(str(tmp_path / "room.lvp"), "Studio", str(tmp_path / "picture.png"))
    (axes,) = figure.axes
    assert len(axes.lines) == 3 and axes.get_xscale() == "log" and axes.get_xlabel() == "Frequency (Hz)"
    for line, peak in zip(axes.lines, (20 * numpy.log10(rows / 2), 20 * numpy.log10(rows / 20), 90)):
        assert line.get_xdata()[line.get_ydata().argmax()] == pytest.approx(1000)
        assert line.get_ydata().max() == pytest.approx(peak, abs=0.01)
    from matplotlib import image
    picture = image.imread(tmp_path / "picture.png")
    assert picture.shape[:2] == (500, 900)
    for red, green, blue in ((0x1F, 0x77, 0xB4), (0xFF, 0x7F, 0x0E), (0x2C, 0xA0, 0x2C)):  # a line of each colour
        assert (abs(picture[..., :3] - numpy.array([red, green, blue]) / 255).max(axis=2) < 0.02).sum() > 100


def test_wav_files_into_a_document_and_back(tmp_path):
    wav_folder = sample("wav_folder", "soundfile")
    import soundfile
    wav_folder.import_folder(SOURCE / "samples", tmp_path / "sounds.lvp")
    wav_folder.export_folder(tmp_path / "sounds.lvp", tmp_path)
    originals = sorted((SOURCE / "samples").glob("*.wav"))
    assert len(originals) == 3
    for path in originals:
        expected, rate = soundfile.read(path)
        found, found_rate = soundfile.read(tmp_path / path.name)
        assert rate == found_rate
        numpy.testing.assert_array_equal(expected, found)


def test_hdf5(room, tmp_path):
    to_hdf5 = sample("to_hdf5", "h5py")
    import h5py
    to_hdf5.main(room, tmp_path / "room.h5")
    with h5py.File(tmp_path / "room.h5") as file:
        assert list(file["data"]) == ["0000 one", "0001 two", "0002 two", "0003 three"]
        measurement = file["speakers/0000 Left/spkr_eq_configs/0000 Bi amp/measurements/0000 On axis"]
        assert measurement.attrs["samplerate"] == 44100
        numpy.testing.assert_array_equal(measurement["data"], numpy.arange(20).reshape(10, 2))


def test_mat(room, tmp_path):
    to_mat = sample("to_mat", "scipy")
    import scipy.io
    to_mat.main(room, tmp_path / "room.mat")
    found = scipy.io.loadmat(tmp_path / "room.mat", squeeze_me=True)
    assert list(found["data"]["name"]) == ["one", "two", "two", "three"]
    assert list(found["measurements"]["address"])[0].endswith("On axis")
    numpy.testing.assert_array_equal(found["measurements"]["data"][0], numpy.arange(20).reshape(10, 2))
