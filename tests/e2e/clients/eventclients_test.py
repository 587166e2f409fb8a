#!/usr/bin/env python3
"""Live events as clients hear them that other people wrote: a browser, and the WebSocket packages of two languages."""
import datetime
import itertools
import shutil
import socket
import statistics
import tempfile
import unittest

import eventclients
import station as stations
from relay import PING, PONG, Relay

SESSION = "/session/status"
RFID = "/rfid/tokenfound"
AVAILABLE, UNAVAILABLE, PLUGGED_IN, AUTHORIZED, FINISHING, CHARGING = 1, 2, 4, 5, 9, 11
READING_PERIOD = 2.0
READINGS = 4

CLIENTS = {}


def start_browser():
    # needs Selenium, which is there only where this is called
    from browserclient import BrowserClient
    profile = tempfile.mkdtemp(prefix="browser")
    unittest.addModuleCleanup(shutil.rmtree, profile, True)
    return BrowserClient(profile)


def setUpModule():
    station = stations.Station(OPTIONS)
    unittest.addModuleCleanup(station.close)
    station.open()
    # its end waits until the clients have left
    unittest.addModuleCleanup(station.stop_process)
    stations.eventually(lambda: socket.create_connection(stations.EVENTS_ADDRESS).close() is None,
                        "the event server listens")
    for service, operation in (("SessionManager", "SubscribeConnectorState"), ("Rfid", "SubscribeTokenFound")):
        stations.await_call(service, operation)
    if OPTIONS.browser:
        CLIENTS["browser"] = start_browser()
        unittest.addModuleCleanup(CLIENTS["browser"].quit)
    if OPTIONS.node:
        CLIENTS["node"] = eventclients.NodeClient(OPTIONS.node)
    if OPTIONS.python:
        CLIENTS["python"] = eventclients.PythonClient()


def result(topic, action, message, status="ok"):
    return {"type": "result", "topic": topic, "data": {"status": status, "action": action, "message": message}}


def set_connector(state):
    stations.steer("/connector", {"State": state})


def show_token(token):
    """:returns: whether the reader reports it to the process"""
    return stations.steer("/rfid", {"Token": token})["Reported"]


def token_event(token):
    return {"type": "event", "topic": RFID, "data": {"tokenId": token}}


class ClientTest(unittest.TestCase):
    """What each client must see; derived classes name it."""
    name = None

    def setUp(self):
        self.client = CLIENTS[self.name]
        self.client.log_in()
        self.addCleanup(self.client.forget_cookie)

    def connect(self):
        connection = self.client.connect()
        self.addCleanup(connection.close)
        return connection

    def assert_refused(self, connection):
        heard = [connection.next(), connection.next()]
        self.assertEqual([each and (each.kind, each.details) for each in heard],
                         [("open", []), ("close", [4401, "Unauthorized"])])

    def test_result_comes_before_the_first_event(self):
        witness = self.connect().opened()
        witness.subscribe(SESSION)
        set_connector(UNAVAILABLE)
        while witness.next_message()["data"]["state"] != "unavailable":
            pass

        connection = self.connect().opened()
        self.assertEqual(connection.answer("subscribe", SESSION),
                         ([], result(SESSION, "subscribe", "Subscribed to topic")))
        first = connection.next_message()
        self.assertEqual((first["type"], first["topic"], first["data"]["state"]), ("event", SESSION, "unavailable"))
        self.assertEqual(len(first["data"]["meterData"]["instantaneousPower"]), 3)

    def test_events_come_live_until_the_client_unsubscribes(self):
        connection = self.connect().opened()
        witness = self.connect().opened()
        for each in (connection, witness):
            self.assertEqual(each.subscribe(RFID), [])
        self.assertTrue(show_token("04A1"))
        for each in (connection, witness):
            self.assertEqual(each.next_message(), token_event("04A1"))

        self.assertEqual(connection.answer("unsubscribe", RFID),
                         ([], result(RFID, "unsubscribe", "Unsubscribed from topic")))
        for token in ("04B2", "04C3"):
            self.assertTrue(show_token(token))
            self.assertEqual(witness.next_message(), token_event(token))
        # the second has reached the witness, so the first has reached all
        self.assertEqual(connection.answer("none", "/nowhere"),
                         ([], result("/nowhere", "none", "Invalid topic", "error")))

    def test_without_a_cookie_the_connection_opens_and_is_refused(self):
        self.client.forget_cookie()
        self.assert_refused(self.connect())

    def test_after_logout_the_connection_opens_and_is_refused(self):
        self.client.log_out()
        self.assert_refused(self.connect())


class NodeTest(ClientTest):
    name = "node"


class PythonTest(ClientTest):
    name = "python"


class BrowserTest(ClientTest):
    name = "browser"

    def test_cookies_of_others_disturb_only_before_the_sessions(self):
        other = {"name": "other", "value": "1", "path": "/"}
        self.client.driver.add_cookie(other)
        self.connect().opened().subscribe(RFID)

        # browsers send the older cookie first
        self.client.forget_cookie()
        self.client.driver.add_cookie(other)
        self.client.log_in()
        self.assert_refused(self.connect())

    def test_whole_charge_comes_in_order_with_readings(self):
        self.addCleanup(set_connector, AVAILABLE)
        power = [3680, 2300, 1150]
        stations.steer("/meter", {"Power": power, "TotalEnergy": 1000})
        page, late = self.connect().opened(), self.connect().opened()
        page.subscribe(SESSION)
        before = stations.last_call()

        changes = []
        for state in (PLUGGED_IN, AUTHORIZED, CHARGING):
            set_connector(state)
            changes.append(page.next())
        readings = []
        for _ in range(READINGS):
            readings.append(page.next())
            # a new subscriber wants a reading too
            self.assertTrue(late.subscribe(SESSION))
            late.answer("unsubscribe", SESSION)
        set_connector(FINISHING)
        end = [page.next()]
        while end[-1].message()["data"]["state"] == "charging":
            end.append(page.next())
        self.assertIsNone(page.next(patience=1.25 * READING_PERIOD))
        set_connector(AVAILABLE)
        end.append(page.next())

        self.assert_states(changes + readings + end)
        self.assert_readings([each.message()["data"]["meterData"] for each in readings + end[-2:-1]], power)
        self.assert_period([each.seconds for each in readings])
        self.assert_few_reads(stations.calls("MeterService", "GetMeterData", before))

    def assert_states(self, heard):
        events = [each.message() for each in heard]
        self.assertEqual({(each["type"], each["topic"]) for each in events}, {("event", SESSION)})
        states = [state for state, _ in itertools.groupby(each["data"]["state"] for each in events)]
        self.assertEqual(states, ["preparingPluggedIn", "preparingAuthorized", "charging", "finishing", "available"])

    def assert_readings(self, readings, power):
        # the first two may both come from the reading before the charge
        for each in readings[2:-1]:
            self.assertEqual(each["instantaneousPower"], power)
        for each in readings[2:]:
            self.assertEqual(each["sessionEnergy"], each["totalEnergy"] - 1000)
        energies = [each["totalEnergy"] for each in readings[1:]]
        self.assertEqual(energies, sorted(energies))
        self.assertGreater(energies[-1], energies[0])

    def assert_period(self, times):
        """Bears with one event that a busy machine makes late."""
        period = statistics.median(later - earlier for earlier, later in zip(times, times[1:]))
        self.assertGreater(period, 0.75 * READING_PERIOD)
        self.assertLess(period, 1.5 * READING_PERIOD)

    def assert_few_reads(self, reads):
        """At most one in each period, by times that hold how long each call was on its way."""
        times = [datetime.datetime.fromisoformat(each["Time"]).timestamp() for each in reads]
        self.assertGreaterEqual(len(times), READINGS - 1)
        for earlier, later in zip(times, times[1:]):
            self.assertGreater(later - earlier, 0.5 * READING_PERIOD)
        self.assertGreater(times[-1] - times[0], (len(times) - 1.5) * READING_PERIOD)


class PingTest(unittest.TestCase):
    def test_all_clients_answer_a_ping_and_hear_on(self):
        relays, connections = [], []
        for client in CLIENTS.values():
            client.log_in()
            relays.append(Relay(stations.EVENTS_ADDRESS))
            connections.append(client.connect(relays[-1].url))
            self.addCleanup(connections[-1].close)
            connections[-1].opened().subscribe(RFID)

        for name, relay in zip(CLIENTS, relays):
            stations.eventually(lambda: ("client", PONG) in relay.frames, f"a ping is answered by {name}")
            self.assertIn(("server", PING), relay.frames[:relay.frames.index(("client", PONG))])

        self.assertTrue(show_token("04D4"))
        for connection in connections:
            self.assertEqual(connection.next_message(), token_event("04D4"))


def load_tests(loader, _tests, _pattern):
    """The pings last: they come every 20 s, and so some of them have passed by then."""
    cases = {"browser": BrowserTest, "node": NodeTest, "python": PythonTest}
    chosen = [case for name, case in cases.items() if getattr(OPTIONS, name)]
    return unittest.TestSuite(loader.loadTestsFromTestCase(case) for case in [*chosen, PingTest])


if __name__ == "__main__":
    stations.enter_private_network()
    parser = stations.arguments(__doc__)
    parser.add_argument("--browser", action="store_true", help="test with Chromium")
    parser.add_argument("--node", metavar="PROGRAM", help="test with the package ws of this Node.js")
    parser.add_argument("--python", action="store_true", help="test with the package websockets of this Python")
    OPTIONS, rest = parser.parse_known_args()
    unittest.main(argv=["eventclients_test", *rest], verbosity=2)
