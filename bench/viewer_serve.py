#!/usr/bin/env python3
"""How fast `zsff serve` answers a viewer.

Records one hour of one float32 channel at 51200 Hz and 16 channels of 2 minutes
with the Python module, serves each with `zsff serve`, and measures, warm:
- one zoom request of 1000 points over the whole hour (median of 200), against the
  server's floor: the median of a request for the outline's smallest answer;
- a pan of the 16 channels: 100 frames, each moving the view by 1 % and asking all
  16 strips for 1200 points at once from 16 threads, as the page does; frames per
  second.

    PYTHONPATH=build/python python3 bench/viewer_serve.py build/tools/zsff
"""
import concurrent.futures
import http.client
import os
import re
import signal
import statistics
import subprocess
import sys
import tempfile
import time
import urllib.request

import numpy as np

import zsff

RATE = 51200.0


def record(parent, name, channels, seconds):
    setups = [zsff.ChannelSetup(f"c{i}", "V", RATE) for i in range(channels)]
    block = np.sin(np.arange(1 << 20, dtype=np.float32) * 0.001).astype(np.float32)
    with zsff.create(parent, name, setups) as rec:
        for _ in range(int(RATE * seconds) >> 20):
            for i in range(channels):
                rec.write(i, block)
    return os.path.join(parent, name)


def serve(tool, path):
    server = subprocess.Popen([tool, "serve", path, "--port", "0"], stdout=subprocess.PIPE,
                              text=True)
    address = re.search(r"http://[0-9.]+:[0-9]+", server.stdout.readline()).group(0)
    return server, address


def get(url):
    with urllib.request.urlopen(url) as response:
        return response.read()


def timed(url, repetitions):
    times = []
    for _ in range(repetitions):
        start = time.perf_counter()
        get(url)
        times.append(time.perf_counter() - start)
    return statistics.median(times)


def main():
    tool = sys.argv[1] if len(sys.argv) > 1 else "zsff"
    with tempfile.TemporaryDirectory() as parent:
        hour = record(parent, "Hour", 1, 3600)
        server, address = serve(tool, hour)
        try:
            zoom = f"{address}/api/zoom?channel=0&start=0&end=3600&points=1000"
            get(zoom)
            zoom_median = timed(zoom, 200)
            floor = timed(f"{address}/favicon.ico", 200)
        finally:
            server.send_signal(signal.SIGINT)
            server.wait()
        sixteen = record(parent, "Sixteen", 16, 120)
        server, address = serve(tool, sixteen)
        try:
            # One kept-alive connection per strip, as a browser keeps them.
            host, port = address.rsplit("/", 1)[1].split(":")
            connections = [http.client.HTTPConnection(host, int(port)) for _ in range(16)]

            def strip(channel, start, span):
                connection = connections[channel]
                connection.request("GET", f"/api/zoom?channel={channel}&start={start}"
                                          f"&end={start + span}&points=1200")
                connection.getresponse().read()

            with concurrent.futures.ThreadPoolExecutor(16) as pool:
                def frame(start, span):
                    list(pool.map(lambda c: strip(c, start, span), range(16)))
                frame(0, 60)
                begin = time.perf_counter()
                for step in range(100):
                    frame(step * 0.6, 60)
                fps = 100 / (time.perf_counter() - begin)
        finally:
            server.send_signal(signal.SIGINT)
            server.wait()
    print(f"load {os.getloadavg()[0]:.2f}")
    print(f"  zoom of 1 h, 1000 points:  {zoom_median * 1e3:6.2f} ms median over HTTP "
          f"(an empty answer takes {floor * 1e3:.2f} ms): {(zoom_median - floor) * 1e3:.2f} ms "
          f"at the server")
    print(f"  16 channels panning:       {fps:6.1f} frames a second of 16 x 1200 points")


if __name__ == "__main__":
    main()
