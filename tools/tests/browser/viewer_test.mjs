// The viewer in a real browser: headless Chromium against "zsff serve" on a
// recorded measurement, and on one being recorded. Screenshots go to OUT_DIR.
// Usage: ZSFF=path/to/zsff OUT_DIR=dir node viewer_test.mjs
import { spawn, spawnSync } from "node:child_process";
import { mkdtempSync, mkdirSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import assert from "node:assert/strict";
import puppeteer from "puppeteer-core";

const tool = process.env.ZSFF ?? "zsff";
const out = process.env.OUT_DIR ?? tmpdir();
const browserPath = process.env.CHROMIUM ?? "/usr/bin/chromium";
mkdirSync(out, { recursive: true });
const scratch = mkdtempSync(join(tmpdir(), "zsff-viewer-"));

// Starts "zsff serve DIR" on a free port; resolves with the process and its address.
function serve(directory) {
  const server = spawn(tool, ["serve", directory, "--port", "0"], { stdio: ["ignore", "pipe", "inherit"] });
  return new Promise((resolve, reject) => {
    server.stdout.once("data", (line) => {
      const address = /http:\/\/[0-9.]+:[0-9]+/.exec(String(line));
      if (address) resolve({ server, address: address[0] });
      else reject(new Error(`unexpected: ${line}`));
    });
    server.once("exit", (code) => reject(new Error(`zsff serve ended with ${code}`)));
  });
}

// The count of drawn (envelope-coloured) pixels of each strip's canvas.
function envelopePixels(page) {
  return page.$$eval(".strip canvas", (canvases) => canvases.map((canvas) => {
    const data = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height).data;
    let count = 0;
    for (let i = 0; i < data.length; i += 4) {
      if (data[i] === 0x1f && data[i + 1] === 0x5f && data[i + 2] === 0xbf) count++;
    }
    return count;
  }));
}

async function drawnAfter(page, generation) {
  await page.waitForFunction((g) => Number(document.body.dataset.drawn ?? 0) > g, { timeout: 10000 },
                             generation);
  return Number(await page.evaluate(() => document.body.dataset.drawn));
}

async function main() {
  const recorded = join(scratch, "Demo");
  assert.equal(spawnSync(tool, ["--quiet", "record", recorded, "--seconds", "3", "--records", "3"]).status, 0);
  const browser = await puppeteer.launch({ executablePath: browserPath, headless: "new",
                                           args: ["--no-sandbox", "--disable-gpu"] });
  const { server, address } = await serve(recorded);
  try {
    const page = await browser.newPage();
    await page.setViewport({ width: 1200, height: 900 });
    const errors = [];
    page.on("console", (message) => { if (message.type() === "error") errors.push(message.text()); });
    page.on("pageerror", (error) => errors.push(String(error)));
    const zooms = [];
    page.on("request", (request) => {
      const url = new URL(request.url());
      if (url.pathname === "/api/zoom") zooms.push({ start: +url.searchParams.get("start"),
                                                     end: +url.searchParams.get("end"),
                                                     points: +url.searchParams.get("points") });
    });
    await page.goto(address, { waitUntil: "load" });
    let drawn = await drawnAfter(page, 0);
    assert.equal(await page.$eval("#title", (e) => e.textContent), "Demo");
    assert.equal((await page.$$(".strip")).length, 8);
    // Every strip draws its envelope; a request asks for as many points as the strip has pixels.
    const pixels = await envelopePixels(page);
    assert.ok(pixels.every((count) => count > 1000), `envelope pixels per strip: ${pixels}`);
    const width = await page.$eval(".strip canvas", (c) => c.width);
    assert.ok(zooms.every((zoom) => zoom.points === width));
    await page.screenshot({ path: join(out, "viewer-whole.png") });

    // The wheel zooms in around the pointer: a narrower span is asked for and drawn.
    const whole = zooms.at(-1);
    const box = await (await page.$(".strip canvas")).boundingBox();
    await page.mouse.move(box.x + box.width / 2, box.y + box.height / 2);
    zooms.length = 0;
    for (let i = 0; i < 5; i++) await page.mouse.wheel({ deltaY: -100 });
    drawn = await drawnAfter(page, drawn);
    await page.waitForFunction(() => true);
    const narrow = zooms.at(-1);
    assert.ok(narrow.end - narrow.start < (whole.end - whole.start) * 0.5, JSON.stringify({ whole, narrow }));
    assert.ok(narrow.start > whole.start && narrow.end < whole.end);
    await page.screenshot({ path: join(out, "viewer-zoomed.png") });
    // A drag pans; a double-click shows everything again.
    await page.mouse.down();
    await page.mouse.move(box.x + box.width / 2 - 200, box.y + box.height / 2, { steps: 4 });
    await page.mouse.up();
    drawn = await drawnAfter(page, drawn);
    assert.ok(zooms.at(-1).start > narrow.start);
    await page.mouse.click(box.x + box.width / 2, box.y + box.height / 2, { clickCount: 2 });
    drawn = await drawnAfter(page, drawn);
    assert.equal(zooms.at(-1).start, 0);
    assert.deepEqual(errors, []);
    await page.close();
  } finally {
    server.kill("SIGINT");
  }

  // A measurement being recorded: the view's end moves on with it.
  const live = join(scratch, "Live");
  const recorder = spawn(tool, ["--quiet", "record", live, "--seconds", "8", "--records", "1", "--realtime"],
                         { stdio: "inherit" });
  try {
    for (let i = 0; i < 200 && spawnSync(tool, ["info", live]).status !== 0; i++) {
      await new Promise((r) => setTimeout(r, 50));
    }
    await new Promise((r) => setTimeout(r, 1000));
    const { server: liveServer, address: liveAddress } = await serve(live);
    try {
      const page = await browser.newPage();
      await page.goto(liveAddress, { waitUntil: "load" });
      await drawnAfter(page, 0);
      const span = () => page.$eval("#span", (e) => e.textContent);
      const first = await span();
      await page.waitForFunction((text) => document.querySelector("#span").textContent !== text,
                                 { timeout: 10000 }, first);
      const later = await span();
      const end = (text) => Number(/– ([0-9.]+) s/.exec(text)[1]);
      assert.ok(end(later) > end(first), `${first} -> ${later}`);
      await page.screenshot({ path: join(out, "viewer-live.png") });
      await page.close();
    } finally {
      liveServer.kill("SIGINT");
    }
  } finally {
    recorder.kill("SIGINT");
    await browser.close();
    rmSync(scratch, { recursive: true, force: true });
  }
  console.log("viewer: all checks passed");
}

main().catch((error) => {
  console.error(error);
  process.exit(1);
});
