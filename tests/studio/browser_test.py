#!/usr/bin/env python3
"""The studio page in a real browser (headless Chromium through Selenium), against
`kelo studio --no-open` on a free loopback port: the page loads and lists every transition, the
cover family's property page shows Direction with its choices, changing it and scrubbing change
the preview's bytes, and export gives a clip ffprobe can read. Saves a screenshot under the build
folder. When the browser cannot be started the test fails and says so: it never skips.

Usage: browser_test.py KELO BUILD_FOLDER
"""
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import urllib.request


def fail(message):
    print(f"browser test FAILED: {message}", file=sys.stderr)
    sys.exit(1)


def start_browser():
    try:
        from selenium import webdriver
        from selenium.webdriver.chrome.service import Service
    except ImportError as error:
        fail(f"python3-selenium is not installed ({error}); run `make deps` as root")
    driver_path = shutil.which("chromedriver") or "/usr/bin/chromedriver"
    browser_path = shutil.which("chromium") or "/usr/bin/chromium"
    if not os.path.exists(driver_path) or not os.path.exists(browser_path):
        fail("the browser cannot be started: chromium and chromium-driver are not installed "
             "(run `make deps` as root)")
    options = webdriver.ChromeOptions()
    options.binary_location = browser_path
    for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu",
                     "--window-size=1500,900", "--no-first-run"):
        options.add_argument(argument)
    try:
        return webdriver.Chrome(service=Service(driver_path), options=options)
    except Exception as error:  # Selenium reports a browser that will not start in many ways.
        fail(f"the browser cannot be started: {str(error).strip().splitlines()[0]}")


def wait(driver, what, condition, seconds=60):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        value = condition()
        if value:
            return value
        time.sleep(0.05)
    errors = driver.find_element("id", "message").text
    fail(f"timed out waiting for {what} (page says: {errors!r})")


def main():
    if len(sys.argv) != 3:
        fail("usage: browser_test.py KELO BUILD_FOLDER")
    kelo, build = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
    names = subprocess.run([kelo, "list", "--names"], check=True, capture_output=True,
                           text=True).stdout.split()
    work = tempfile.mkdtemp(prefix="kelo-studio-browser-")
    server = subprocess.Popen([kelo, "studio", "--no-open", "--port", "0"], cwd=work,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    driver = None
    try:
        line = server.stdout.readline()
        match = re.match(r"(http://127\.0\.0\.1:\d+/\?token=[0-9a-f]+)$", line.strip())
        if not match:
            fail(f"kelo studio printed no address: {line!r} {server.stderr.read()!r}")
        address = match.group(1)
        driver = start_browser()
        driver.get(address)
        wait(driver, "the page to start", lambda: driver.execute_script(
            "return document.body.dataset.ready === 'true'"))

        listed = driver.execute_script(
            "return [...document.querySelectorAll('#transition-list li')].map(li => li.dataset.name)")
        if listed != names:
            fail(f"the page lists {listed}, kelo list gives {names}")
        wait(driver, "every thumbnail", lambda: driver.execute_script(
            "return [...document.querySelectorAll('#transition-list img')]"
            ".every(img => img.complete && img.naturalWidth > 0)"))

        preview = driver.find_element("id", "preview")

        def frames():
            return int(preview.get_attribute("data-frames") or 0)

        driver.execute_script(
            "document.querySelector('#transition-list li[data-name=\"CoverTransition\"]').click()")
        wait(driver, "the cover's property page",
             lambda: driver.find_element("id", "effect-name").get_attribute("textContent") == "CoverTransition")
        labels = [label.text for label in driver.find_elements("css selector", "#properties label")]
        if "Direction" not in labels:
            fail(f"the cover's property page shows {labels}, not Direction")
        direction = driver.find_element(
            "xpath", "//label[text()='Direction']/following-sibling::select")
        choices = [option.text for option in direction.find_elements("tag name", "option")]
        if choices != ["Top", "Right", "Bottom", "Left"]:
            fail(f"Direction offers {choices}")

        # Changing Direction gives new preview bytes.
        wait(driver, "a preview of the cover", lambda: frames() > 0 and
             preview.get_attribute("data-progress") == "0.5")
        time.sleep(0.3)
        before = preview.get_attribute("data-hash")
        count = frames()
        from selenium.webdriver.support.ui import Select
        Select(direction).select_by_visible_text("Left")
        wait(driver, "the preview after Direction=Left", lambda: frames() > count)
        after = preview.get_attribute("data-hash")
        if after == before:
            fail("changing Direction left the preview's bytes as they were")

        # Scrubbing changes the frame.
        count = frames()
        driver.execute_script(
            "const s = document.getElementById('scrubber'); s.value = 250;"
            "s.dispatchEvent(new Event('input'));")
        wait(driver, "the preview at 0.25", lambda: frames() > count and
             preview.get_attribute("data-progress") == "0.25")
        if preview.get_attribute("data-hash") == after:
            fail("scrubbing to 0.25 left the preview's bytes as they were")

        # Export an MP4 and check it with ffprobe.
        driver.execute_script("document.getElementById('export-duration').value = '0.5'")
        driver.find_element("id", "export").click()
        link = driver.find_element("id", "export-link")
        wait(driver, "the export's download link", lambda: link.is_displayed(), seconds=120)
        clip = os.path.join(build, "studio-export.mp4")
        with urllib.request.urlopen(link.get_attribute("href")) as response, open(clip, "wb") as out:
            out.write(response.read())
        probe = subprocess.run(
            ["ffprobe", "-v", "error", "-count_frames", "-select_streams", "v:0", "-show_entries",
             "stream=codec_name,width,height,nb_read_frames", "-of", "json", clip],
            capture_output=True, text=True)
        if probe.returncode != 0:
            fail(f"ffprobe cannot read the exported clip: {probe.stderr.strip()}")
        stream = json.loads(probe.stdout)["streams"][0]
        if stream["codec_name"] != "h264" or int(stream["nb_read_frames"]) < 2:
            fail(f"the exported clip is not what was asked for: {stream}")

        # The screenshot for the README: the cover half way.
        count = frames()
        driver.execute_script(
            "const s = document.getElementById('scrubber'); s.value = 500;"
            "s.dispatchEvent(new Event('input'));")
        wait(driver, "the preview at 0.5", lambda: frames() > count)
        time.sleep(0.3)
        driver.save_screenshot(os.path.join(build, "studio.png"))
        print(f"{len(listed)} transitions listed, Direction changed the preview, scrubbing changed "
              f"it, exported {stream['nb_read_frames']} frames of {stream['width']}x{stream['height']}; "
              f"screenshot {os.path.join(build, 'studio.png')}")
    finally:
        if driver is not None:
            driver.quit()
        server.send_signal(signal.SIGINT)
        try:
            code = server.wait(timeout=30)
        except subprocess.TimeoutExpired:
            server.kill()
            code = None
        shutil.rmtree(work, ignore_errors=True)
    if code != 0:
        fail(f"kelo studio ended with {code} after SIGINT: {server.stderr.read()}")
    print("1 passed, 0 failed")


if __name__ == "__main__":
    main()
