"""zsff serve: the outline and the zooms of a recorded measurement over HTTP,
against what `zsff zoom` and `zsff info` give, and the requests it refuses."""
import json
import os
import re
import signal
import subprocess
import urllib.error
import urllib.request

import pytest

TOOL = os.environ.get("ZSFF", "zsff")


@pytest.fixture(scope="module")
def served(tmp_path_factory):
    path = str(tmp_path_factory.mktemp("serve") / "Demo")
    subprocess.run([TOOL, "--quiet", "record", path, "--seconds", "3", "--records", "3"],
                   check=True)
    server = subprocess.Popen([TOOL, "serve", path, "--port", "0"], stdout=subprocess.PIPE,
                              text=True)
    line = server.stdout.readline()
    address = re.search(r"http://[0-9.]+:[0-9]+", line).group(0)
    yield path, address
    server.send_signal(signal.SIGINT)
    assert server.wait(timeout=10) == 0


def get(address, path):
    """The status and the JSON (or the text) of a GET."""
    try:
        with urllib.request.urlopen(address + path, timeout=10) as response:
            body, status, kind = response.read(), response.status, response.headers["Content-Type"]
    except urllib.error.HTTPError as error:
        body, status, kind = error.read(), error.code, error.headers["Content-Type"]
    return status, json.loads(body) if kind.startswith("application/json") else body.decode()


def test_the_outline_is_the_measurements(served):
    path, address = served
    status, outline = get(address, "/api/measurement")
    assert status == 200
    info = json.loads(subprocess.run([TOOL, "info", path, "--json"], check=True,
                                     capture_output=True).stdout)
    assert outline["name"] == "Demo"
    assert len(outline["records"]) == 3 and [r["number"] for r in outline["records"]] == [1, 2, 3]
    assert outline["duration"] == pytest.approx(sum(r["duration"] for r in outline["records"]))
    assert all(re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z", r["start"])
               for r in outline["records"])
    assert [c["name"] for c in outline["channels"]] == \
        [c["name"] for c in info["records"][0]["channels"]]
    assert outline["channels"][3] == {"index": 3, "name": "Noise", "unit": "V", "rate": 51200.0}
    assert outline["markers"] == []


def test_zooms_are_the_tools(served):
    path, address = served
    for channel, start, end, points in [(0, 0, 2.7, 100), (3, 0.5, 2.0, 333), (5, 1.7, 1.9, 50)]:
        status, zoom = get(address, f"/api/zoom?channel={channel}&start={start}&end={end}"
                                    f"&points={points}")
        assert status == 200
        tool = json.loads(subprocess.run(
            [TOOL, "zoom", path, "--channel", str(channel + 1), "--start", str(start), "--stop",
             str(end), "--points", str(points), "--json"], check=True, capture_output=True).stdout)
        # Both print the same 32-bit values, each with digits enough to give it back.
        assert [float(f"{v:.9g}") for v in zoom["min"]] == [p[0] for p in tool["pairs"]]
        assert [float(f"{v:.9g}") for v in zoom["max"]] == [p[1] for p in tool["pairs"]]
        assert (zoom["start"], zoom["points"]) == (start, points)
    # Past the end of a finished measurement the span ends with it.
    status, zoom = get(address, "/api/zoom?channel=0&start=2&end=50&points=10")
    assert status == 200 and zoom["end"] == pytest.approx(2.7)
    # The other units.
    for unit in ("recorded", "post-analysis"):
        assert get(address, f"/api/zoom?channel=1&start=0&end=1&points=5&unit={unit}")[0] == 200


@pytest.mark.parametrize("request_path, status", [
    ("/api/zoom?channel=99&start=0&end=1&points=10", 404),
    ("/api/zoom?channel=-1&start=0&end=1&points=10", 404),
    ("/api/zoom?channel=x&start=0&end=1&points=10", 400),
    ("/api/zoom?channel=0&start=1&end=1&points=10", 400),
    ("/api/zoom?channel=0&start=2&end=1&points=10", 400),
    ("/api/zoom?channel=0&start=0&end=1&points=0", 400),
    ("/api/zoom?channel=0&start=0&end=1&points=100001", 400),
    ("/api/zoom?channel=0&start=0&end=1&points=2.5", 400),
    ("/api/zoom?channel=0&start=nan&end=1&points=10", 400),
    ("/api/zoom?channel=0&start=0&end=1", 400),
    ("/api/zoom?channel=0&start=0&end=1&points=10&unit=furlongs", 400),
    ("/api/zoom?channel=0&start=100&end=101&points=10", 400),
    ("/api/nothing", 404),
    ("/../../etc/passwd", 404),
    ("/Record_1.zsfh", 404),
])
def test_bad_requests_get_a_json_error(served, request_path, status):
    got, answer = get(served[1], request_path)
    assert got == status
    assert isinstance(answer, dict) and answer["error"]


def test_the_page_is_served(served):
    status, page = get(served[1], "/")
    assert status == 200 and '<script src="viewer.js">' in page
    status, script = get(served[1], "/viewer.js")
    assert status == 200 and "/api/zoom" in script
