#!/usr/bin/env python3
"""Uploads of a firmware package by clients that other people wrote, at the server's port and behind a proxy."""
import filecmp
import http.client
import json
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest
import urllib.request

import proxy
import station as stations

DIRECT = "http://127.0.0.1:8082/"
TOPIC = "/system/fwupdate/status"
HERE = pathlib.Path(__file__).parent
MEBIBYTE = 1 << 20
FULL_PACKAGE_MIB = 200

PAGE = """<!DOCTYPE html>
<title>Update</title>
<input type="file" id="package">
<script>
"use strict";
function upload(done) {
    const form = new FormData();
    form.append("firmware", document.getElementById("package").files[0]);
    const request = new XMLHttpRequest();
    const progress = [];
    request.upload.onprogress = event => progress.push([event.loaded, event.total]);
    request.onload = () => done({status: request.status, text: request.responseText, progress});
    request.onerror = () => done({status: 0, text: "", progress});
    request.open("PUT", "/upload");
    request.send(form);
}
</script>
"""


def directory_for_module(prefix):
    directory = pathlib.Path(tempfile.mkdtemp(prefix=prefix))
    unittest.addModuleCleanup(shutil.rmtree, directory, True)
    return directory


def write_random(file, size):
    with open(file, "wb") as stream:
        for begin in range(0, size, MEBIBYTE):
            stream.write(os.urandom(min(MEBIBYTE, size - begin)))


def setUpModule():
    global STATION, PROXY, PACKAGE
    STATION = stations.Station(OPTIONS, files_in_place=True)
    unittest.addModuleCleanup(STATION.close)
    STATION.open()
    # its end waits until the listeners have left
    unittest.addModuleCleanup(STATION.stop_process)
    stations.await_call("BoardControl", "SubscribeFirmwareUpdateStatus")
    PROXY = proxy.Proxy(OPTIONS.nginx, directory_for_module("proxy"))
    unittest.addModuleCleanup(PROXY.close)
    stations.eventually(lambda: stations.get(f"{proxy.REST}/auth/status"), "the proxy passes on")
    PACKAGE = directory_for_module("package") / "package.swu"
    write_random(PACKAGE, OPTIONS.package_mib * MEBIBYTE)


class UploadTest(unittest.TestCase):
    def setUp(self):
        stations.steer("/firmware", {"ProgrammingMs": 0, "Result": "EFwUpdateStatusSuccess"})
        self.before = stations.last_call()

    def requesters(self):
        calls = stations.calls("BoardControl", "RequestFirmwareUpdate", self.before)
        return [call["Request"]["Value"] for call in calls]

    def stored(self):
        return STATION.root / "tmp/update/package.swu"

    def assert_installed(self):
        self.assertTrue(filecmp.cmp(PACKAGE, self.stored(), shallow=False))
        self.assertEqual(self.requesters(), ["WebInterface"])
        # the next update is refused for as long as this one is under way
        stations.eventually(lambda: json.loads(stations.get(f"{stations.STEERING}/station"))["Firmware"]["State"] == "Idle",
                            "the update ends")


class ProgramTest(UploadTest):
    """Programs that upload with a cookie that they are given."""

    def setUp(self):
        super().setUp()
        body = json.dumps({"Password": stations.PASSWORD}).encode()
        request = urllib.request.Request(f"{proxy.REST}/auth/login", body, {"Content-Type": "application/json"})
        with urllib.request.urlopen(request, timeout=stations.PATIENCE) as answer:
            self.cookie = answer.headers["Set-Cookie"].partition(";")[0]

    def run_program(self, *command):
        done = subprocess.run(command, capture_output=True, text=True, check=True, timeout=stations.PATIENCE)
        return done.stdout

    def upload_by_curl(self, url, *options):
        output = self.run_program(OPTIONS.curl, "--silent", "--show-error", "-w", "\n%{http_code}", "-X", "PUT",
                                  "-b", self.cookie, "-F", f"firmware=@{PACKAGE}", *options, url)
        text, _, status = output.rpartition("\n")
        return int(status), text


class CurlTest(ProgramTest):
    def test_uploads_to_the_port(self):
        self.assertEqual(self.upload_by_curl(DIRECT), (201, "Created"))
        self.assert_installed()

    def test_uploads_through_the_proxy(self):
        self.assertEqual(self.upload_by_curl(proxy.UPLOAD), (201, "Created"))
        self.assert_installed()

    def test_uploads_in_chunked_transfer(self):
        self.assertEqual(self.upload_by_curl(DIRECT, "-H", "Transfer-Encoding: chunked"), (201, "Created"))
        self.assert_installed()

    def test_without_a_session_is_unauthorized(self):
        self.cookie = "sessionid=0"
        self.assertEqual(self.upload_by_curl(DIRECT), (401, "Unauthorized"))
        self.assertEqual(self.requesters(), [])


class NodeTest(ProgramTest):
    def upload(self, url):
        program = str(HERE / "uploadclient.js")
        return json.loads(self.run_program(OPTIONS.node, program, url, str(PACKAGE), self.cookie))

    def test_uploads_to_the_port(self):
        self.assertEqual(self.upload(DIRECT), [201, "Created"])
        self.assert_installed()

    def test_uploads_through_the_proxy(self):
        self.assertEqual(self.upload(proxy.UPLOAD), [201, "Created"])
        self.assert_installed()


class ProxyTest(ProgramTest):
    def test_passes_an_upload_on_as_it_comes_and_its_end_too(self):
        head = b'--boundary\r\nContent-Disposition: form-data; name="firmware"; filename="f"\r\n\r\n'
        client = http.client.HTTPConnection("127.0.0.1", proxy.PORT, timeout=stations.PATIENCE)
        self.addCleanup(client.close)
        client.putrequest("PUT", "/upload")
        for header in (("Cookie", self.cookie), ("Content-Type", "multipart/form-data; boundary=boundary"),
                       ("Content-Length", str(100 * MEBIBYTE))):
            client.putheader(*header)
        client.endheaders(head + bytes(2 * MEBIBYTE))
        stations.eventually(lambda: self.stored().stat().st_size > MEBIBYTE, "the package comes")

        client.close()

        # until then the package is in use
        stations.eventually(lambda: self.upload_by_curl(proxy.UPLOAD) == (201, "Created"), "the package is free")
        self.assert_installed()


class BrowserTest(UploadTest):
    """A page behind the proxy, which has everything at one origin."""

    def setUp(self):
        super().setUp()
        # needs Selenium, which is there only where this is called
        from browserclient import Browser, PageConnection
        (PROXY.pages / "update.html").write_text(PAGE)
        profile = tempfile.mkdtemp(prefix="browser")
        self.addCleanup(shutil.rmtree, profile, True)
        self.browser = Browser(profile, f"{proxy.ORIGIN}/update.html")
        self.addCleanup(self.browser.quit)
        self.assertEqual(self.browser.fetch("POST", "/api/auth/login", {"Password": stations.PASSWORD})[0], 204)
        self.connect = lambda: PageConnection(self.browser.driver, proxy.EVENTS)

    def upload(self):
        self.browser.driver.find_element("id", "package").send_keys(str(PACKAGE))
        return self.browser.driver.execute_async_script("upload(arguments[0])")

    def test_uploads_with_progress_and_hears_of_the_update(self):
        events = self.connect().opened()
        self.addCleanup(events.close)
        events.subscribe(TOPIC)

        answer = self.upload()

        self.assertEqual((answer["status"], answer["text"]), (201, "Created"))
        loaded = [loaded for loaded, _ in answer["progress"]]
        total = answer["progress"][-1][1]
        self.assertGreater(total, PACKAGE.stat().st_size)
        self.assertEqual(loaded, sorted(loaded))
        self.assertEqual(loaded[-1], total)
        # browsers tell it every 50 ms
        if OPTIONS.package_mib >= FULL_PACKAGE_MIB:
            self.assertLess(loaded[0], total)
        self.assertEqual(events.next_message()["data"]["status"], "EFwUpdateStatusSuccess")
        self.assert_installed()

        stations.steer("/firmware", {"Result": "EFwUpdateStatusNoSpace"})
        self.assertEqual(self.upload()["status"], 201)
        self.assertEqual(events.next_message()["data"], {"status": "EFwUpdateStatusNoSpace"})

    def test_after_logout_the_upload_is_unauthorized(self):
        self.assertEqual(self.browser.fetch("POST", "/api/auth/logout")[0], 204)

        answer = self.upload()

        self.assertEqual((answer["status"], answer["text"]), (401, "Unauthorized"))
        self.assertEqual(self.requesters(), [])
        self.assertFalse(self.stored().exists())


def load_tests(loader, _tests, _pattern):
    cases = [CurlTest, ProxyTest]
    if OPTIONS.node:
        cases.append(NodeTest)
    if OPTIONS.browser:
        cases.append(BrowserTest)
    return unittest.TestSuite(loader.loadTestsFromTestCase(case) for case in cases)


if __name__ == "__main__":
    stations.enter_private_network()
    parser = stations.arguments(__doc__)
    parser.add_argument("--nginx", metavar="PROGRAM", required=True, help="the proxy")
    parser.add_argument("--package-mib", metavar="SIZE", type=int, default=FULL_PACKAGE_MIB,
                        help="size of the package, in MiB")
    parser.add_argument("--curl", metavar="PROGRAM", required=True, help="test with this curl")
    parser.add_argument("--node", metavar="PROGRAM", help="test with this Node.js")
    parser.add_argument("--browser", action="store_true", help="test with Chromium")
    OPTIONS, rest = parser.parse_known_args()
    unittest.main(argv=["uploadclients_test", *rest], verbosity=2)
