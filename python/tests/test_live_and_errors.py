"""A measurement read while the tool records it, and the errors a caller meets."""
import errno
import subprocess
import time

import numpy as np
import pytest

import zsff
from conftest import TOOL, tool_read


def wait_for(condition, seconds=20.0):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        try:
            if condition():
                return
        except zsff.Error:
            pass  # the measurement isn't there yet
        time.sleep(0.05)
    pytest.fail("timed out")


def test_a_record_being_recorded_reads_what_is_on_disk(tmp_path):
    path = str(tmp_path / "Live")
    recorder = subprocess.Popen([TOOL, "--quiet", "record", path, "--seconds", "6", "--records",
                                 "1", "--realtime"])
    try:
        wait_for(lambda: any(r.duration > 0.5 for r in zsff.open(path).records))
        m = zsff.open(path)
        assert m.records[0].recording
        first = m.read("Noise")
        wait_for(lambda: len(m.read("Noise")) > len(first) + 10000)
        second = m.read("Noise")
        np.testing.assert_array_equal(second[:len(first)], first)
        # The zoom of a live record pads what isn't recorded yet with NaN.
        lo, hi = m.zoom("Noise", stop=m.duration + 5.0, points=100)
        assert np.isnan(lo[-1]) and np.isnan(hi[-1]) and not np.isnan(lo[0])
    finally:
        assert recorder.wait(timeout=60) == 0
    assert not m.records[0].recording
    whole = m.read("Noise")
    np.testing.assert_array_equal(whole[:len(second)], second)
    np.testing.assert_array_equal(whole, tool_read(path, 1, 4))


def test_errors_say_what_went_wrong(demo, tmp_path):
    with pytest.raises(zsff.FileError) as missing:
        zsff.open(str(tmp_path / "nothing"))
    assert isinstance(missing.value, OSError) and "nothing" in str(missing.value)
    with pytest.raises(zsff.FileError, match="no measurement file"):
        zsff.open(str(tmp_path))

    m = zsff.open(demo)
    for call, error, words in [
            (lambda: m.read("no such channel"), ValueError, "no channel named"),
            (lambda: m.read(8), ValueError, "no channel 8"),
            (lambda: m.read(1.5), TypeError, "name"),
            (lambda: m.read(0, record=4), ValueError, "holds 3 records"),
            (lambda: m.read(0, unit="furlongs"), ValueError, "unit"),
            (lambda: m.read(0, start=-1.0), ValueError, "start"),
            (lambda: m.read(0, start=1.0, stop=0.5), ValueError, "stop"),
            (lambda: m.read(0, stop=100.0), ValueError, "holds"),
            (lambda: m.zoom(0, points=0), ValueError, "points"),
            (lambda: m.zoom(0, unit="furlongs"), ValueError, "unit"),
            (lambda: m.zoom(0, start=1000.0), ValueError, "past the end")]:
        with pytest.raises(error, match=words):
            call()


def test_recording_refuses_what_it_cannot_store(tmp_path):
    setups = [zsff.ChannelSetup("a", "V", 1000.0, "int16"), zsff.ChannelSetup("b", "V", 500.0)]
    with zsff.create(str(tmp_path), "M", setups) as rec:
        for call, error, words in [
                (lambda: rec.write("a", np.zeros(10)), TypeError, "float64"),
                (lambda: rec.write("b", np.zeros(10, dtype=complex)), TypeError, "complex"),
                (lambda: rec.write("b", np.zeros((2, 5), dtype=np.float32)), ValueError,
                 "one-dimensional"),
                (lambda: rec.write("c", np.zeros(10)), ValueError, "no channel named"),
                (lambda: rec.write(None, np.zeros(10)), TypeError, "name")]:
            with pytest.raises(error, match=words):
                call()
        rec.write("a", np.arange(1000, dtype=np.int16))
        rec.write("b", [0.5] * 500)
    assert rec.closed
    with pytest.raises(zsff.Error, match="closed"):
        rec.write("a", np.zeros(1, dtype=np.int16))
    m = zsff.open(rec.path)
    np.testing.assert_array_equal(m.read_raw("a"), np.arange(1000, dtype=np.int16))
    np.testing.assert_array_equal(m.read("b"), np.full(500, 0.5))

    with pytest.raises(zsff.FileError) as exists:
        zsff.create(str(tmp_path), "M", setups)
    assert exists.value.errno == errno.EEXIST
    for bad, words in [([], "at least one"),
                       ([zsff.ChannelSetup("a", "V", 0.0)], "rate"),
                       ([zsff.ChannelSetup("a", format="int8")], "format"),
                       ([zsff.ChannelSetup("a", rate=300.0), zsff.ChannelSetup("b", rate=200.0)],
                        "divide"),
                       ([zsff.ChannelSetup("a"), zsff.ChannelSetup("a")], "two channels")]:
        with pytest.raises(ValueError, match=words):
            zsff.create(str(tmp_path), "N", bad)
