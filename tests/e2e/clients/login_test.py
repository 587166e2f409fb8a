#!/usr/bin/env python3
"""Logging in and out with a real browser."""
import json
import shutil
import tempfile
import time
import unittest

import station as stations
from browser import Browser

DAY = 24 * 60 * 60


class Login(unittest.TestCase):
    def setUp(self):
        self.station = stations.Station(OPTIONS)
        self.addCleanup(self.station.close)
        self.station.open()
        self.profile = tempfile.mkdtemp(prefix="browser")
        self.addCleanup(shutil.rmtree, self.profile, True)
        self.start_browser()
        self.addCleanup(lambda: self.browser.quit())

    def start_browser(self):
        self.browser = Browser(self.profile)

    def log_in(self, **more):
        body = {"Password": stations.PASSWORD, **more}
        self.assertEqual(self.browser.fetch("POST", "/auth/login", body), (204, ""))

    def assert_active(self, active):
        status, text = self.browser.fetch("GET", "/auth/status")
        self.assertEqual((status, json.loads(text)), (200, {"Active": active}))
        self.assertEqual(self.browser.fetch("GET", "/system/info")[0], 200 if active else 401)

    def test_plain_session_ends_with_the_browser(self):
        self.assert_active(False)

        self.log_in()

        cookie = self.browser.cookie()
        self.assertRegex(cookie["value"], "^[0-9a-f]{64}$")
        self.assertEqual(cookie["path"], "/")
        self.assertEqual(cookie["sameSite"], "Strict")
        self.assertFalse(cookie["secure"])
        self.assertFalse(cookie["httpOnly"])
        self.assertNotIn("expiry", cookie)
        self.assert_active(True)

        self.browser.quit()
        self.start_browser()
        self.assert_active(False)

    def test_wrong_password_gives_no_session(self):
        answer = self.browser.fetch("POST", "/auth/login", {"Password": "wrong"})
        self.assertEqual(answer, (401, '"\\"Login failed\\""\n'))
        self.assertIsNone(self.browser.cookie())
        self.assert_active(False)

    def test_persistent_session_outlives_process_and_browser(self):
        self.log_in(PersistentSession=True)
        cookie = self.browser.cookie()
        # browsers cut 3650 days down to 400
        self.assertGreater(cookie["expiry"], time.time() + 390 * DAY)

        self.station.stop_process()
        self.station.start_process()
        self.assert_active(True)
        self.assertEqual(self.browser.cookie()["value"], cookie["value"])

        self.browser.quit()
        self.start_browser()
        self.assert_active(True)

    def test_plain_session_ends_with_the_process(self):
        self.log_in()
        self.station.stop_process()
        self.station.start_process()
        self.assert_active(False)

    def test_logout_ends_the_session_and_leaves_the_cookie(self):
        self.log_in(PersistentSession=True)
        key = self.browser.cookie()["value"]

        self.assertEqual(self.browser.fetch("POST", "/auth/logout"), (204, ""))

        self.assert_active(False)
        self.assertEqual(self.browser.cookie()["value"], key)

    def test_second_login_ends_the_first_session(self):
        self.log_in()
        first = self.browser.cookie()["value"]
        self.log_in()
        self.assertNotEqual(self.browser.cookie()["value"], first)
        self.assert_active(True)

        self.browser.driver.add_cookie({"name": "sessionid", "value": first, "path": "/"})
        self.assert_active(False)


if __name__ == "__main__":
    stations.enter_private_network()
    OPTIONS, rest = stations.arguments(__doc__).parse_known_args()
    unittest.main(argv=["login_test", *rest], verbosity=2)
