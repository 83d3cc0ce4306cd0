"""The page of cxml report in a browser: what it shows, what a click shows, that it asks for nothing, and how it looks."""
import base64
import json
import os
import pathlib
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "examples"))
from report_support import HOSTILE, hostile_points, many_points  # noqa: E402
from support import TestCase, cxml, cxml_json, main  # noqa: E402

from selenium import webdriver  # noqa: E402
from selenium.webdriver.chrome.service import Service  # noqa: E402
from selenium.webdriver.common.by import By  # noqa: E402
from selenium.webdriver.common.keys import Keys  # noqa: E402

HARBOUR = ROOT / "examples" / "harbour"
DOCUMENT = HARBOUR / "harbour.cxml"
ENDS = ("rule", "default", "kept", "none", "failed")


def browser(width=1280, height=900, scheme="light"):
    options = webdriver.ChromeOptions()
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars",
                     f"--window-size={width},{height}", f"--blink-settings=preferredColorScheme={0 if scheme == 'dark' else 1}"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    driver = webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)
    driver.set_script_timeout(60)
    driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                           {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 500})
    driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
    return driver


class Page(TestCase):
    def report(self, document, dataset, *options, name="page.html", status=0):
        file = self.folder / name
        done = cxml("report", document, dataset, "-o", file, "--overwrite", *options)
        self.assertEqual(done.returncode, status, done.stderr)
        return file

    def open(self, file, **how):
        driver = browser(**how)
        self.addCleanup(driver.quit)
        driver.get(file.as_uri())
        return driver

    def assert_quiet(self, driver, file):
        """No console message, and no request but for the page itself."""
        self.assertEqual(driver.get_log("browser"), [])
        requests = [json.loads(entry["message"])["message"] for entry in driver.get_log("performance")]
        addresses = {request["params"]["request"]["url"] for request in requests if request["method"] == "Network.requestWillBeSent"}
        self.assertEqual(addresses - {"data:,"}, {file.as_uri()})
        self.assertEqual(driver.execute_script("return performance.getEntriesByType('resource').length"), 0)

    def keep(self, driver, name, full=False):
        """A picture for people to look at."""
        folder = os.environ.get("SYMBOLOGY_PICTURES")
        if not folder:
            return
        pathlib.Path(folder).mkdir(parents=True, exist_ok=True)
        size = driver.execute_script("return [document.documentElement.clientWidth, document.documentElement.scrollHeight]")
        options = {"captureBeyondViewport": True, "clip": {"x": 0, "y": 0, "width": size[0], "height": min(size[1], 6000), "scale": 1}}
        shot = driver.execute_cdp_cmd("Page.captureScreenshot", options if full else {})
        (pathlib.Path(folder) / f"report-{name}.png").write_bytes(base64.b64decode(shot["data"]))


class Harbour(Page):
    def setUp(self):
        super().setUp()
        self.dataset = self.folder / "harbour.gpkg"
        subprocess.run([HARBOUR / "build", self.dataset], check=True)
        self.assertEqual(cxml("symbolize", DOCUMENT, self.dataset, "--add-fields").returncode, 0)
        self.file = self.report(DOCUMENT, self.dataset)

    def test_the_ledger_is_that_of_the_command(self):
        driver = self.open(self.file)
        shown = driver.execute_script("""return [...document.querySelectorAll('#ledger-table tbody tr')].map(
            row => [...row.children].map(cell => cell.textContent))""")
        status, told = cxml_json("ledger", DOCUMENT, self.dataset)
        self.assertEqual(status, 0)
        self.assertEqual(shown, [[layer["layer"], str(layer["rows"]), *(str(layer["ends"][end]) for end in ENDS),
                                  str(sum(message["rows"] for message in layer["messages"]))] for layer in told["layers"]])
        sums = [cell.text for cell in driver.find_elements(By.CSS_SELECTOR, "#ledger-table tfoot td")]
        self.assertEqual(sums[0], str(told["rows"]))
        self.assert_quiet(driver, self.file)

    def test_a_click_shows_what_explain_says(self):
        driver = self.open(self.file)
        place = driver.execute_script("""
            const one = document.querySelector('#points [data-layer=BOYLAT] [data-fid="6"]');
            one.scrollIntoView({block: 'center'});
            const box = one.getBoundingClientRect();
            return [box.x + box.width / 2, box.y + box.height / 2];""")
        for kind in ("mousePressed", "mouseReleased"):
            driver.execute_cdp_cmd("Input.dispatchMouseEvent", {"type": kind, "x": place[0], "y": place[1], "button": "left", "clickCount": 1})
        panel = driver.find_element(By.ID, "panel")
        self.assertTrue(panel.is_displayed())
        title = panel.find_element(By.TAG_NAME, "h3").text
        layer, _, fid = title.split(" ")
        explained = panel.find_elements(By.CSS_SELECTOR, "pre.explanation")
        self.assertEqual((title, len(explained)), ("BOYLAT fid 6", 1))
        told = cxml("explain", DOCUMENT, self.dataset, layer, "--fid", fid)
        self.assertEqual(explained[0].get_property("textContent"), told.stdout)
        values = driver.execute_script("return [...document.querySelectorAll('#panel tr')].map(row => [...row.children].map(cell => cell.textContent))")
        self.assertIn(["CATLAM", "2"], values)
        self.keep(driver, "panel")
        self.assert_quiet(driver, self.file)

    def test_a_feature_that_is_not_stored_has_the_command_that_explains_it(self):
        driver = self.open(self.report(DOCUMENT, self.dataset, "--samples", "0"))
        driver.execute_script("""document.querySelector('#points [data-layer=BOYLAT] [data-fid="6"]').dispatchEvent(
            new MouseEvent('click', {bubbles: true}))""")
        command = driver.find_element(By.CSS_SELECTOR, "#panel pre.command").text
        done = subprocess.run(["bash", "-c", 'cxml() { "$CXML" "$@"; }; ' + command], capture_output=True, text=True, check=True)
        self.assertEqual(done.stdout, cxml("explain", DOCUMENT, self.dataset, "BOYLAT", "--fid", "6").stdout)

    def test_the_map_moves_zooms_and_hides_layers(self):
        driver = self.open(self.file)
        view = "return document.querySelector('#sheet svg').getAttribute('viewBox').split(' ').map(Number)"
        settled = "const done = arguments[0]; requestAnimationFrame(() => requestAnimationFrame(done))"
        before = driver.execute_script(view)
        sheet = driver.find_element(By.ID, "sheet")
        sheet.send_keys("+")
        driver.execute_async_script(settled)
        self.assertAlmostEqual(driver.execute_script(view)[2], before[2] / 1.5, 3)
        sheet.send_keys(Keys.ARROW_RIGHT)
        driver.execute_async_script(settled)
        self.assertGreater(driver.execute_script(view)[0], before[0] + before[2] / 6)
        sheet.send_keys("0")
        driver.execute_async_script(settled)
        self.assertEqual(driver.execute_script(view), before)
        box = driver.find_element(By.CSS_SELECTOR, "[data-shows=BOYLAT]")
        box.click()
        self.assertEqual(driver.execute_script("return getComputedStyle(document.querySelector('#points [data-layer=BOYLAT]')).display"), "none")
        box.click()
        self.assertNotEqual(driver.execute_script("return getComputedStyle(document.querySelector('#points [data-layer=BOYLAT]')).display"), "none")

    def test_keys_reach_every_feature_and_one_is_in_the_order_of_tab(self):
        driver = self.open(self.file)
        sheet = driver.find_element(By.ID, "sheet")
        sheet.send_keys(Keys.ENTER)
        first = driver.execute_script("return document.activeElement.getAttribute('aria-label')")
        driver.switch_to.active_element.send_keys(Keys.ARROW_RIGHT)
        second = driver.execute_script("return document.activeElement.getAttribute('aria-label')")
        self.assertRegex(first, r"^\w+ fid \d+, \w+")
        self.assertRegex(second, r"^\w+ fid \d+, \w+")
        self.assertNotEqual(first, second)
        driver.switch_to.active_element.send_keys(Keys.ENTER)
        self.assertEqual(driver.find_element(By.CSS_SELECTOR, "#panel h3").text, second.split(",")[0])
        self.assertEqual(driver.find_element(By.ID, "panel").get_attribute("aria-live"), "polite")
        self.assertEqual(driver.execute_script("return document.querySelectorAll('#sheet svg [tabindex=\"0\"]').length"), 1)

    def test_every_picture_that_is_used_is_there(self):
        driver = self.open(self.file)
        missing = driver.execute_script("""return [...document.querySelectorAll('use')].map(use => use.getAttribute('href'))
            .filter(reference => !document.querySelector(reference))""")
        self.assertEqual(missing, [])
        links = driver.execute_script("""return [...document.querySelectorAll('a[href^="#"]')].map(link => link.getAttribute('href'))
            .filter(reference => !document.querySelector(reference))""")
        self.assertEqual(links, [])
        doubles = driver.execute_script("""const ids = [...document.querySelectorAll('[id]')].map(one => one.id);
            return ids.filter((id, i) => ids.indexOf(id) !== i)""")
        self.assertEqual(doubles, [])

    def test_nothing_is_wider_than_a_phone(self):
        driver = self.open(self.file, width=375, height=740)
        self.assertLessEqual(driver.execute_script("return document.documentElement.scrollWidth"), 375)
        self.keep(driver, "phone")
        driver.execute_script("document.getElementById('classes').scrollIntoView()")
        self.keep(driver, "phone-classes")

    def test_texts_stand_out_from_their_ground(self):
        """The contrast that WCAG 2.1 asks of text, in both schemes; what is struck out or grey, too."""
        for scheme in ("light", "dark"):
            driver = self.open(self.file, scheme=scheme)
            poor = driver.execute_script(CONTRAST)
            self.keep(driver, scheme, full=True)
            self.assertEqual(poor, [], scheme)

    def test_it_can_be_read_without_its_script(self):
        driver = self.open(self.file)
        driver.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": True})
        driver.refresh()
        self.assertFalse(driver.find_element(By.ID, "map-tools").is_displayed())
        self.assertTrue(driver.find_element(By.CSS_SELECTOR, "#classes table").is_displayed())
        row = driver.find_element(By.CSS_SELECTOR, "#rows details")
        row.find_element(By.TAG_NAME, "summary").click()
        self.assertTrue(row.find_element(By.TAG_NAME, "pre").is_displayed())

    def test_it_prints(self):
        driver = self.open(self.file)
        pdf = driver.execute_cdp_cmd("Page.printToPDF", {"printBackground": True})["data"]
        self.assertGreater(len(pdf), 10000)
        if folder := os.environ.get("SYMBOLOGY_PICTURES"):
            pathlib.Path(folder).mkdir(parents=True, exist_ok=True)
            (pathlib.Path(folder) / "report-printed.pdf").write_bytes(base64.b64decode(pdf))


class Hostile(Page):
    def test_no_name_and_no_value_becomes_markup(self):
        document, dataset = hostile_points(self.folder)
        file = self.report(document, dataset)
        driver = self.open(file)
        self.assertEqual(driver.execute_script("return [document.scripts.length, window.attacked === undefined]"), [2, True])
        self.assertEqual(driver.execute_script("return document.querySelectorAll('img, iframe, object, embed, link, form, b').length"), 0)
        driver.execute_script("document.querySelector('#points [data-fid]').dispatchEvent(new MouseEvent('click', {bubbles: true}))")
        self.assertTrue(driver.find_element(By.ID, "panel").is_displayed())
        text = driver.execute_script("return document.getElementById('panel').textContent")
        self.assertIn(HOSTILE["markup"], text)
        self.assertEqual(driver.execute_script("return [window.attacked === undefined, document.scripts.length]"), [True, 2])
        self.keep(driver, "hostile", full=True)
        self.assert_quiet(driver, file)

    def test_its_policy_stops_what_would_get_in(self):
        document, dataset = hostile_points(self.folder)
        file = self.report(document, dataset)
        page = file.read_text(encoding="utf-8")
        file.write_text(page.replace("<main>", "<main><script>window.attacked = 1</script><img src='data:image/gif;base64,R0lGODlhAQABAAAAACwAAAAAAQABAAACAkQBADs=' onerror='window.attacked = 2'>", 1),
                        encoding="utf-8")
        driver = self.open(file)
        self.assertTrue(driver.execute_script("return window.attacked === undefined"))
        self.assertEqual(driver.execute_script("return document.querySelector('img').naturalWidth"), 0)
        self.assertTrue(any("Content Security Policy" in entry["message"] for entry in driver.get_log("browser")))


class Large(Page):
    def test_20000_features_can_be_clicked(self):
        document, dataset = many_points(self.folder, 20000)
        began = time.monotonic()
        file = self.report(document, dataset)
        made = time.monotonic() - began
        driver = browser()
        self.addCleanup(driver.quit)
        began = time.monotonic()
        driver.get(file.as_uri())
        self.assertEqual(driver.execute_script("return document.querySelectorAll('#points [data-fid]').length"), 20000)
        opened = time.monotonic() - began
        driver.execute_script("document.querySelector('#points [data-fid=\"7\"]').dispatchEvent(new MouseEvent('click', {bubbles: true}))")
        self.assertEqual(driver.find_element(By.CSS_SELECTOR, "#panel h3").text, "MARKS fid 7")
        driver.execute_async_script("const done = arguments[0]; requestAnimationFrame(() => requestAnimationFrame(done))")
        clicked = time.monotonic() - began
        print(f"\n20,000 features: made in {made:.1f} s, {file.stat().st_size / 1e6:.1f} MB; there after {opened:.1f} s, "
              f"a click answered and painted after {clicked:.1f} s")


CONTRAST = """
const parse = colour => (colour.match(/[\\d.]+/g) || [0, 0, 0, 0]).map(Number);
const linear = value => value / 255 <= 0.03928 ? value / 255 / 12.92 : ((value / 255 + 0.055) / 1.055) ** 2.4;
const light = ([r, g, b]) => 0.2126 * linear(r) + 0.7152 * linear(g) + 0.0722 * linear(b);
const ground = element => {
  for (let one = element; one; one = one.parentElement) {
    const colour = parse(getComputedStyle(one).backgroundColor);
    if (colour.length === 3 || colour[3] === 1) return colour;
  }
  return [255, 255, 255];
};
const poor = new Map();
for (const element of document.querySelectorAll('body *:not(svg):not(svg *):not(script)')) {
  if (![...element.childNodes].some(node => node.nodeType === 3 && node.textContent.trim())) continue;
  const style = getComputedStyle(element);
  if (style.visibility === 'hidden' || !element.getClientRects().length) continue;
  const [a, b] = [light(parse(style.color)), light(ground(element))];
  const contrast = (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
  if (contrast < 4.5) poor.set(element.tagName + '.' + element.className + ' ' + style.color, contrast);
}
return [...poor];
"""

if __name__ == "__main__":
    main()
