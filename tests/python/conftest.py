"""What the tests of the Python package share."""

import pathlib

import lumvex
import numpy
import pytest

SOURCE = pathlib.Path(__file__).resolve().parents[2]


@pytest.fixture
def project():
    with lumvex.Project() as made:
        yield made


@pytest.fixture
def room(tmp_path):
    """The path of a document with a library, a speaker of one of its models, a room, a processor and named data."""
    library = lumvex.Specifications()
    model = library.manufacturers.add("Acme").models.add("Alpha")
    config = model.model_configs.add(library.configs["Bi amp"])
    library.save_as(tmp_path / "acme.lvs")
    with lumvex.open(tmp_path / "room.lvp", "x") as doc:
        doc.specifications = library
        taken = doc.experiments.add("On axis", mic_distance=1.2)
        speaker = doc.speakers.add("Left", model)
        measurements = speaker.spkr_eq_configs.add(config).measurements
        measurements.add("On axis", taken, data=numpy.arange(20.0).reshape(10, 2), samplerate=44100, io_config=3)
        measurements.add("Off axis", data=numpy.ones((10, 2)))
        position = doc.rooms.add("Studio").positions.add("Listener")
        position.measurements.add("a/b", data=numpy.arange(4.0))
        doc.box_cfgs.add("Box")
        for name in ("one", "two", "two", "three"):
            doc.data.add(name, data=[[20, 80], [200, 90]], samplerate=0)
        doc.save()
    library.close()
    return tmp_path / "room.lvp"
