#!/usr/bin/env python3
"""Renders pictures with headless Chromium and with rsvg-convert, where they are installed.

    render_plot.py PROGRAM SAMPLES

In Chromium no text may overlap another one or leave the picture, and background and tracks must have their colours in light
and in dark. rsvg-convert must draw as many different colours. Exits with 77 and the reason if neither program is there.
"""
import base64
import json
import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile

program, samples = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
CHROMIUM = next(filter(None, map(shutil.which, ("chromium", "chromium-browser", "google-chrome"))), None)
RSVG = shutil.which("rsvg-convert")
SCHEMES = {"light": (1, (255, 255, 255), (0, 114, 178)), "dark": (0, (13, 17, 23), (86, 180, 233))}
PAGE = """<!doctype html><meta charset="utf-8"><body style="margin:0">%s<script>
const found = [];
for (const svg of document.querySelectorAll("svg")) {
  const area = svg.getBoundingClientRect(), name = svg.querySelector("title").textContent;
  const texts = [...svg.querySelectorAll("text")].map(text => [text.textContent, text.getBoundingClientRect()]);
  texts.forEach(([text, box], i) => {
    if (box.left < area.left || box.right > area.right || box.bottom > area.bottom)
      found.push(name + ": '" + text + "' leaves the picture");
    for (const [other, its] of texts.slice(0, i))
      if (Math.min(box.right, its.right) - Math.max(box.left, its.left) > 1 &&
          Math.min(box.bottom, its.bottom) - Math.max(box.top, its.top) > 3)
        found.push(name + ": '" + text + "' overlaps '" + other + "'");
  });
}
window.onload = () => {
  const colours = [...document.images].map(image => {
    const canvas = document.createElement("canvas"), pen = canvas.getContext("2d");
    [canvas.width, canvas.height] = [image.naturalWidth, image.naturalHeight];
    pen.drawImage(image, 0, 0);
    const all = pen.getImageData(0, 0, canvas.width, canvas.height).data, counts = {};
    for (let i = 0; i < all.length; i += 4) {
      const colour = all[i] + "," + all[i + 1] + "," + all[i + 2];
      counts[colour] = (counts[colour] || 0) + 1;
    }
    return counts;
  });
  document.body.innerHTML = "<pre>" + btoa(unescape(encodeURIComponent(JSON.stringify({found, colours})))) + "</pre>";
};
</script></body>"""
faults = []


def in_chromium(page, scheme):
    pathlib.Path("page.html").write_text(page)
    done = subprocess.run([CHROMIUM, "--headless", "--no-sandbox", "--disable-gpu", "--user-data-dir=profile", "--dump-dom",
                           f"--blink-settings=preferredColorScheme={scheme}", "--virtual-time-budget=10000", "page.html"],
                          capture_output=True)
    result = re.search(rb"<pre>([^<]+)</pre>", done.stdout)
    if not result:
        sys.exit("chromium did not run the page: " + done.stderr.decode(errors="replace")[-2000:])
    return json.loads(base64.b64decode(result[1]))


def check_in_chromium(pictures):
    inline = "".join(text.decode() for text in pictures.values())
    images = "".join(f'<img src="data:image/svg+xml;base64,{base64.b64encode(text).decode()}">' for text in pictures.values())
    for name, (scheme, background, track) in SCHEMES.items():
        result = in_chromium(PAGE % ((inline if name == "light" else "") + images), scheme)
        faults.extend(result["found"])
        for picture, colours in zip(pictures, result["colours"]):
            most = max(colours, key=colours.get)
            if most != ",".join(map(str, background)):
                faults.append(f"{picture}: the background is {most} in {name}")
            if colours.get(",".join(map(str, track)), 0) < 100:
                faults.append(f"{picture}: the first track is not drawn in its colour in {name}")


def check_with_rsvg(name, text):
    done = subprocess.run([RSVG], input=text, capture_output=True)
    width, height = (float(size) for size in re.search(rb'width="([0-9.]+)" height="([0-9.]+)"', text).groups())
    size = struct.unpack(">II", done.stdout[16:24]) if done.stdout.startswith(b"\x89PNG") else (0, 0)
    if done.returncode or abs(size[0] - width) > 1 or abs(size[1] - height) > 1 or len(done.stdout) < 20000:
        faults.append(f"{name}: rsvg-convert draws {size}, {len(done.stdout)} bytes: {done.stderr.decode()[:200]}")


def draw(path):
    options = ["--seek", "1"] if path.suffix in (".mp4", ".3gp") and "cut" not in path.name else []
    return subprocess.run([program, "plot", path, "-o", "-", "-q", *options], capture_output=True).stdout


if not CHROMIUM and not RSVG:
    print("neither chromium nor rsvg-convert is installed")
    sys.exit(77)
with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    cut = pathlib.Path("cut-moov-first.3gp")
    cut.write_bytes((samples / "moov-first.3gp").read_bytes()[:50000])
    media = [path for path in sorted(samples.iterdir()) if path.suffix in (".mp4", ".3gp", ".awb")]
    pictures = {path.name: draw(path) for path in [*media, samples / "aac-lc-44k-stereo.aac", cut]}
    if CHROMIUM:
        check_in_chromium(pictures)
    if RSVG:
        for name, text in pictures.items():
            check_with_rsvg(name, text)
print(f"{len(pictures)} pictures;", *(f"{name} is {'used' if tool else 'not installed'};" for name, tool in
                                    (("chromium", CHROMIUM), ("rsvg-convert", RSVG))))
print("\n".join(faults[:30]))
sys.exit(1 if faults or not all(pictures.values()) else 0)
