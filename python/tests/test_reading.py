"""Reading gives what the library's own tool gives, for every format, record,
part and unit."""
import glob
import json
import os
import shutil

import numpy as np
import pytest

import zsff
from conftest import FORMATS, RATE, SECONDS, tool_read, run_tool


def test_listing_of_a_recorded_measurement(demo):
    with zsff.open(demo) as m:
        assert m.name == "Demo"
        assert [r.number for r in m.records] == [1, 2, 3]
        assert not any(r.recording for r in m.records)
        assert m.duration == pytest.approx(sum(r.duration for r in m.records))
        # The last record is a ring that keeps half of what it recorded.
        assert m.records[2].duration == pytest.approx(m.records[1].duration / 2, rel=0.05)
        assert m.records[0].start.tzinfo is not None
        assert m.records[0].start <= m.records[1].start <= m.records[2].start
        assert [c.index for c in m.channels] == list(range(8))
        assert {c.format for c in m.channels} == {"float32", "int16", "float64"}
        assert m.channels[0].rate == 51200.0
    assert m.closed
    with pytest.raises(zsff.Error, match="closed"):
        m.read(0)


def test_every_channel_and_record_reads_as_the_tool_does(demo):
    m = zsff.open(demo)
    for record in m.records:
        for channel in m.channels:
            expected = tool_read(demo, record.number, channel.number)
            by_index = m.read(channel.index, record=record.number)
            assert by_index.dtype == np.float64
            np.testing.assert_array_equal(by_index, expected)
            np.testing.assert_array_equal(m.read(channel.name, record=record.number), expected)


def test_spans_and_units(demo):
    m = zsff.open(demo)
    whole = m.read("Noise", record=1)
    rate = m.channels[3].rate
    np.testing.assert_array_equal(m.read("Noise", record=1, start=0.5, stop=1.25),
                                  whole[int(0.5 * rate):int(1.25 * rate)])
    assert len(m.read("Noise", record=1, start=1.0, stop=1.0)) == 0
    np.testing.assert_array_equal(m.read("Harmonics", record=2, unit="recorded"),
                                  tool_read(demo, 2, 2, "--recorded"))
    np.testing.assert_array_equal(m.read("Harmonics", record=2, unit="post-analysis"),
                                  tool_read(demo, 2, 2, "--post-analysis"))
    # Compact16 samples as stored, and in volts one coefficient per step.
    raw = m.read_raw("Noise", record=1)
    assert raw.dtype == np.int16
    np.testing.assert_allclose(whole, raw * (10.0 / 32767.0), rtol=1e-6)


def test_every_format_comes_back_across_parts(formats):
    path, written = formats
    m = zsff.open(path)
    assert [c.format for c in m.channels] == FORMATS
    assert m.records[0].duration == pytest.approx(SECONDS)
    assert len(glob.glob(os.path.join(path, "Record_*", "Channel_1_*", "Part_*.zrs"))) == 3
    for channel in m.channels:
        raw = m.read_raw(channel.name)
        assert raw.dtype == np.dtype(channel.format)
        np.testing.assert_array_equal(raw, written[channel.format])
        np.testing.assert_array_equal(m.read(channel.name), tool_read(path, 1, channel.number))
        # A span that crosses from the first part into the second.
        np.testing.assert_array_equal(m.read_raw(channel.name, start=60.0, stop=70.0),
                                      written[channel.format][int(60 * RATE):int(70 * RATE)])


def test_a_missing_part_reads_as_the_tools_filler(formats, tmp_path):
    path = str(tmp_path / "Formats")
    shutil.copytree(formats[0], path)
    [part] = glob.glob(os.path.join(path, "Record_*", "Channel_3_*", "Part_1.zrs"))
    os.remove(part)
    m = zsff.open(path)
    values = m.read("float32")
    np.testing.assert_array_equal(values, tool_read(path, 1, 3))
    assert len(values) == int(RATE * SECONDS)
    np.testing.assert_array_equal(m.read_raw("float32", start=128.0),
                                  formats[1]["float32"][int(128 * RATE):])


def test_a_ring_recorded_from_python_keeps_its_end(tmp_path):
    setup = zsff.ChannelSetup("ring", "V", RATE, "float32")
    samples = np.arange(int(RATE * 200), dtype=np.float32)
    with zsff.create(str(tmp_path), "Ring", [setup], ring=100.0) as rec:
        rec.write(0, samples)
    m = zsff.open(str(tmp_path / "Ring"))
    kept = m.read_raw(0)
    assert 100 * RATE <= len(kept) < 200 * RATE
    np.testing.assert_array_equal(kept, samples[-len(kept):])
    np.testing.assert_array_equal(m.read(0), tool_read(m.path, 1, 1))


def test_zoom_is_the_envelope_of_the_samples(demo):
    m = zsff.open(demo)
    for channel in (0, "Noise", "Impacts"):
        lo, hi = m.zoom(channel, points=500)
        assert len(lo) == len(hi) and 0 < len(lo) <= 500
        assert np.all(lo <= hi)
        everything = np.concatenate([m.read(channel, record=r.number) for r in m.records])
        # The envelope comes as 32-bit floats.
        assert lo.min() == np.float32(everything.min())
        assert hi.max() == np.float32(everything.max())
    # In the other units the envelope holds the values read in them.
    for unit in ("recorded", "post-analysis"):
        lo, hi = m.zoom("Harmonics", points=50, unit=unit)
        values = np.concatenate([m.read("Harmonics", record=r.number, unit=unit) for r in m.records])
        assert (lo.min(), hi.max()) == (np.float32(values.min()), np.float32(values.max()))
    # The same pairs as the tool gives.
    out = run_tool("zoom", demo, "--channel", 4, "--points", 300, "--json").stdout
    pairs = json.loads(out)["pairs"]
    lo, hi = m.zoom("Noise", points=300)
    # The tool prints the 32-bit values with the digits that give them back.
    np.testing.assert_array_equal(lo, np.float32([p[0] for p in pairs]))
    np.testing.assert_array_equal(hi, np.float32([p[1] for p in pairs]))
    # A narrow zoom sees the samples themselves, one a point.
    x = m.read(0, record=1, start=0.5, stop=0.5 + 100 / 51200)
    lo, hi = m.zoom(0, start=0.5, stop=0.5 + 100 / 51200, points=100)
    np.testing.assert_array_equal(lo, np.float32(x))
    np.testing.assert_array_equal(hi, np.float32(x))
