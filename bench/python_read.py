#!/usr/bin/env python3
"""Reading one channel from Python against numpy reading the same bytes.

Records 10 minutes of one float32 channel at 51200 Hz with the module, then reads
it back whole, interleaved repetitions, warm page cache: `read_raw` (samples as
stored) and `read` (volts, float64) against `numpy.fromfile` of the channel's
part files, one after the other, into one array. Prints medians and ratios.

    PYTHONPATH=build/python python3 bench/python_read.py [minutes]
"""
import glob
import os
import statistics
import sys
import tempfile
import time

import numpy as np

import zsff

RATE = 51200.0


def fromfile_parts(paths):
    out = np.empty(sum(os.path.getsize(p) for p in paths) // 4, dtype=np.float32)
    at = 0
    for path in paths:
        part = np.fromfile(path, dtype=np.float32)
        out[at:at + len(part)] = part
        at += len(part)
    return out


def main():
    minutes = float(sys.argv[1]) if len(sys.argv) > 1 else 10.0
    count = int(RATE * 60 * minutes)
    with tempfile.TemporaryDirectory() as parent:
        samples = np.sin(np.arange(count, dtype=np.float32) * 0.001).astype(np.float32)
        with zsff.create(parent, "Bench", [zsff.ChannelSetup("s", "V", RATE)]) as rec:
            for start in range(0, count, 1 << 20):
                rec.write(0, samples[start:start + (1 << 20)])
        m = zsff.open(os.path.join(parent, "Bench"))
        parts = sorted(glob.glob(os.path.join(parent, "Bench", "Record_*", "Channel_*", "Part_*.zrs")),
                       key=lambda p: int(p.rsplit("_", 1)[1].split(".")[0]))
        assert np.array_equal(m.read_raw(0), fromfile_parts(parts))
        runs = {"numpy.fromfile": lambda: fromfile_parts(parts),
                "read_raw": lambda: m.read_raw(0),
                "read (volts)": lambda: m.read(0)}
        times = {name: [] for name in runs}
        for _ in range(7):
            for name, run in runs.items():
                start = time.perf_counter()
                run()
                times[name].append(time.perf_counter() - start)
    base = statistics.median(times["numpy.fromfile"])
    mb = count * 4 / 1e6
    print(f"{minutes:g} min of float32 at {RATE:g} Hz ({mb:.0f} MB), {len(parts)} part files,"
          f" medians of 7, load {os.getloadavg()[0]:.2f}")
    for name, values in times.items():
        median = statistics.median(values)
        print(f"  {name:15s} {median * 1e3:8.1f} ms  {mb / median:7.0f} MB/s"
              f"  speed {base / median:5.2f} of numpy.fromfile")


if __name__ == "__main__":
    main()
