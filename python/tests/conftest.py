"""Measurements shared by the module's tests: one recorded by the zsff tool, one
recorded from Python in every sample format across several parts."""
import os
import subprocess

import numpy as np
import pytest

import zsff

TOOL = os.environ.get("ZSFF", "zsff")

# 200 Hz for 150 s: three parts of 64 s each per channel, in little time.
RATE = 200.0
SECONDS = 150.0
FORMATS = ["int16", "int32", "float32", "float64"]


def run_tool(*args, **kwargs):
    return subprocess.run([TOOL, *map(str, args)], check=True, capture_output=True, **kwargs)


def tool_read(path, record, number, *options):
    """What `zsff read --f64` gives of a channel, by its number."""
    out = subprocess.run([TOOL, "read", path, "-", "--f64", "--record", str(record),
                          "--channel", str(number), *options],
                         check=True, capture_output=True).stdout
    return np.frombuffer(out, dtype=np.float64)


def written_samples(fmt, count, seed):
    """Distinct samples of a format, negative ones and extremes among them."""
    rng = np.random.default_rng(seed)
    if fmt.startswith("int"):
        info = np.iinfo(fmt)
        samples = rng.integers(info.min, info.max, size=count, endpoint=True).astype(fmt)
        samples[:2] = info.min, info.max
        return samples
    return (rng.standard_normal(count) * 100).astype(fmt)


@pytest.fixture(scope="session")
def demo(tmp_path_factory):
    """Three records of the tool's eight channels, the last a ring."""
    path = tmp_path_factory.mktemp("demo") / "Demo"
    run_tool("--quiet", "record", path, "--seconds", 3, "--records", 3)
    return str(path)


@pytest.fixture(scope="session")
def formats(tmp_path_factory):
    """One channel per format, written in uneven blocks from Python; returns the
    path and what was written to each channel."""
    parent = tmp_path_factory.mktemp("formats")
    count = int(RATE * SECONDS)
    written = {fmt: written_samples(fmt, count, seed) for seed, fmt in enumerate(FORMATS)}
    setups = [zsff.ChannelSetup(fmt, "V", RATE, fmt, sensitivity=2.0, offset=0.5,
                                coefficient=0.001 if fmt == "int16" else 1.0)
              for fmt in FORMATS]
    with zsff.create(str(parent), "Formats", setups) as rec:
        for start in range(0, count, 7001):
            for fmt in FORMATS:
                rec.write(fmt, written[fmt][start:start + 7001])
    return str(parent / "Formats"), written
