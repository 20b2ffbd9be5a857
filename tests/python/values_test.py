"""Values: arrays, numbers, enumerations, dates, texts, references and indexed properties."""

import datetime
import gc

import lumvex
import numpy
import pytest

GRID = numpy.arange(24.0).reshape(6, 4)


@pytest.mark.parametrize("given", [
    GRID, GRID.astype("f4"), numpy.asfortranarray(GRID), GRID[::2, ::-1], GRID[::-1].T, GRID.astype(">f8"),
    GRID.astype("i8"), GRID.astype("u2"), GRID.astype("f2"), GRID > 5, GRID[:, :1], GRID[:0], GRID.tolist(), GRID[0],
    [1, 2, 3], (0.5,), [[7]], range(4), numpy.float32([numpy.nan, numpy.inf, -0.0]),
    numpy.broadcast_to(numpy.float32(3), (5, 2)), memoryview(numpy.arange(5.0))], ids=lambda given: type(given).__name__)
def test_anything_array_like_comes_back_as_rows_and_columns(project, given):
    expected = numpy.asarray(given, "f4")
    expected = expected[:, None] if expected.ndim == 1 else expected
    datum = project.data.add("x")
    datum.data = given
    for kind, dtype in ((lumvex.LXArray.FLOAT, "f4"), (lumvex.LXArray.DOUBLE, "f8"), ("variant", "f8")):
        project.safe_array_type = kind
        found = datum.data
        assert found.dtype == dtype and found.flags.f_contiguous and found.shape == expected.shape
        numpy.testing.assert_array_equal(found, expected)


@pytest.mark.parametrize("given, error", [
    (3.5, ValueError), (numpy.zeros((2, 2, 2)), ValueError), ("text", (TypeError, ValueError)), (GRID * 1j, TypeError),
    ([[1, 2], [3]], ValueError), (["a"], TypeError), (object(), (TypeError, ValueError))])
def test_what_is_no_array_is_refused_and_changes_nothing(project, given, error):
    datum = project.data.add("x", data=[1, 2])
    with pytest.raises(error):
        datum.data = given
    assert datum.data[:, 0].tolist() == [1, 2]


def test_an_array_of_the_wrong_number_of_columns_is_refused(room):
    measurement = lumvex.open(room)["Left/Bi amp/Measurements/On axis"]
    with pytest.raises(ValueError) as caught:
        measurement.data = numpy.zeros((5, 3))
    assert caught.value.status == 0x80040FA2


@pytest.mark.parametrize("in_file", [False, True])
def test_arrays_are_the_callers_own_without_a_copy(project, tmp_path, in_file):
    datum = project.data.add("x", data=GRID)
    if in_file:
        project.save_as(tmp_path / "x.lvp")
        project.close()
        datum = lumvex.open(tmp_path / "x.lvp", "r+").data[0]
    first, second = datum.data, datum.data
    assert "PyCapsule" in repr(type(first.base)) and first.flags.writeable  # the block that the library handed out
    first[:] = -1
    datum.data = GRID * 2
    numpy.testing.assert_array_equal(second, GRID)
    assert (first == -1).all() and datum.data[1, 1] == 10
    datum.root.close()
    column = second[:, 1]
    del datum, first, second
    gc.collect()
    numpy.testing.assert_array_equal(column, GRID[:, 1])


def test_what_is_put_is_not_changed_later(project):
    given = GRID.astype("f4")
    datum = project.data.add("x", data=given)
    given[:] = 0
    assert datum.data[5, 3] == 23


def test_bytes_and_nothing(project):
    project.workspace_data = b"\0\1\xff"
    assert project.workspace_data.dtype == "u1" and project.workspace_data.tobytes() == b"\0\1\xff"
    project.workspace_data = numpy.array([7, 8], "u1")
    assert project.workspace_data.tolist() == [[7], [8]]
    datum = project.data.add("x")
    assert datum.data is None
    datum.data = [1]
    datum.data = None
    assert datum.data is None


def test_numbers_truth_values_and_enumerations(project):
    spkr = project.box_cfgs.add("Box").banks[0].spkrs[0]
    for value in (0.1, -1.2, 3, 1e30, numpy.float64(0.7)):
        spkr.gain_db = value
        assert spkr.gain_db == value
    spkr.mode = "bypass"
    assert spkr.mode is lumvex.LXFilterMode.BYPASS
    spkr.mode = lumvex.LXFilterMode.DISABLE
    assert spkr.mode == 0
    assert project.box_cfgs[0].xda_lock_eq is False
    project.box_cfgs[0].xda_lock_eq = True
    assert project.box_cfgs[0].xda_lock_eq is True
    measurement = project.rooms.add("R").positions.add("P").measurements.add("M", channel=-3)
    measurement.io_config = lumvex.LXIOConfig.ANALOG_IN | lumvex.LXIOConfig.MICROPHONE_IN
    assert measurement.io_config == lumvex.LXIOConfig.ANALOG_IN | lumvex.LXIOConfig.MICROPHONE_IN
    assert isinstance(measurement.io_config, lumvex.LXIOConfig) and measurement.channel == -3
    for name, value, error in (("channel", 40000, OverflowError), ("channel", 1.5, TypeError), ("samplerate", 2**31, OverflowError),
                               ("samplerate", "fast", TypeError), ("io_config", "loud", ValueError), ("name", 3, TypeError)):
        with pytest.raises(error):
            setattr(measurement, name, value)
    for name in ("id", "path", "parent", "nothing", "sample_rate"):
        with pytest.raises(AttributeError):
            setattr(measurement, name, "x")
    with pytest.raises(AttributeError, match="cannot be deleted"):
        del measurement.channel


@pytest.mark.parametrize("moment", [
    datetime.datetime(2024, 5, 3, 21, 5, 7), datetime.datetime(1899, 12, 29, 6), datetime.datetime(1899, 12, 30),
    datetime.datetime(100, 1, 1, 23, 59, 59), datetime.datetime(2024, 5, 3, 0, 0, 0, 250000)])
def test_dates(project, moment):
    datum = project.data.add("x", timestamp=moment)
    assert abs(datum.timestamp - moment) < datetime.timedelta(microseconds=2)
    if moment.microsecond == 0:
        assert datum.timestamp == moment
    aware = moment.replace(year=2024).astimezone(datetime.timezone(datetime.timedelta(hours=5)))
    datum.timestamp = aware
    assert abs(datum.timestamp - aware.astimezone().replace(tzinfo=None)) < datetime.timedelta(microseconds=2)
    datum.timestamp = 1e8
    assert datum.timestamp == 1e8  # no day of the calendar


@pytest.mark.parametrize("text", ["", "On axis", "Größe Ω 測定", "\U0001f50a loud", "a\0b", "\ud800 lone", "x" * 5000])
def test_texts(project, text):
    datum = project.data.add(text)
    assert datum.name == text == list(project.data.keys())[0] and project.data[text] == datum
    assert project[datum.path] == datum


def test_references(room):
    doc = lumvex.open(room, "r+")
    on_axis, off_axis = doc.speakers[0].spkr_eq_configs[0].measurements
    assert on_axis.experiment == doc.experiments[0] and off_axis.experiment is None
    off_axis.experiment, on_axis.experiment = on_axis.experiment, None
    assert off_axis.experiment.mic_distance == 1.2 and on_axis.experiment is None
    model = doc.speakers[0].model
    assert model.name == "Alpha" and model.root == doc.specifications and model.parent.parent.name == "Acme"
    with pytest.raises(TypeError):
        off_axis.experiment = doc.data[0]
    with pytest.raises(TypeError):
        off_axis.experiment = "On axis"


def test_indexed_properties_are_sequences(project):
    box = project.box_cfgs.add("Box")
    hi = box.banks[0].spkrs[0].filter_q_hi
    assert len(hi) == 6 and hi == [0.0] * 6
    hi[0], hi[-1] = 0.5, 0.7
    hi[1:3] = [1, 2]
    assert list(box.banks[0].spkrs[0].filter_q_hi) == [0.5, 1, 2, 0, 0, 0.7] and hi[1::2] == [1, 0, 0.7]
    box.banks[0].spkrs[0].filter_q_hi = range(6)
    assert hi[5] == 5 and 5.0 in hi and hi.index(3) == 3
    for wrong in (lambda: hi[6], lambda: hi[-7]):
        with pytest.raises(IndexError):
            wrong()
    with pytest.raises(ValueError, match="6 values are wanted, not 2"):
        box.banks[0].spkrs[0].filter_q_hi = [9, 9]
    assert list(hi) == [0, 1, 2, 3, 4, 5]
    level = box.xda_level_tweak
    level[15, 5] = -1.5
    level[2] = [1, 2, 3, 4, 5, 6]
    assert numpy.array(level).shape == (16, 6) and level[15][5] == level[15, 5] == -1.5 and level[2][:2] == [1, 2]
    assert len(box.bank) == 4 and box.bank[1] == box.banks[1]
