#!/usr/bin/env python3
"""Consumption report checks of tqlsim, from the outside.

Usage: consume_selftest.py TQLSIM [unittest options]

Good reports of a session are kept in order and shown on the state
endpoint; malformed ones are refused as a bad request and only counted.
"""
import copy
import json
import os
import sys
import unittest
import urllib.request

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import selftest  # noqa: E402

V2 = "/rest/v2/experience/modules/consumed"
V4 = "/rest/v4/experience/modules/events/consume"


def record(event, action, info="cut:a@1", at="2026-01-02T03:04:05.0000678Z"):
    return {"consumeEvent": event, "consumeEventAction": action, "consumptionInfo": info,
            "consumeDateTime": at, "consumeStreamDateTime": "2026-01-02T03:00:00.0000000Z",
            "incognito": False, "aodDownload": False, "offline": False}


def document(*groups):
    return {"moduleList": {"modules": [
        {"moduleArea": "NowPlayingTimelineFeed", "moduleType": kind,
         "moduleRequest": {"consumeRequests": records}} for kind, records in groups]}}


class ConsumeReportTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.sim = selftest.Simulator()
        cls.sim.login()

    @classmethod
    def tearDownClass(cls):
        cls.sim.stop()

    def setUp(self):
        self.sim.post("/__sim/reset?all=1")
        self.sim.login()

    def send(self, path, body, cookie=True):
        data = body if isinstance(body, bytes) else json.dumps(body).encode()
        req = urllib.request.Request(self.sim.base + path, data=data, method="POST")
        if cookie:
            req.add_header("Cookie", self.sim.cookie)
        with urllib.request.urlopen(req, timeout=10) as r:
            return json.loads(r.read())["TamberQLMessage"]

    def kept(self):
        return list(self.sim.state()["consume"]["sessions"].values())

    def test_reports_are_kept_per_session_in_order_with_their_records(self):
        v2 = document(("Live", [record("markerEnd", "passive"), record("markerStart", "passive", "cut:b@2")]))
        v4 = document(("Live", [record("stop", "tuneOut")]), ("AOD", [record("start", "tuneIn", "episode:e")]))
        self.assertEqual(1, self.send(V2, v2)["status"])
        self.assertEqual(1, self.send(V4, v4)["status"])
        sessions = self.kept()
        self.assertEqual(1, len(sessions))
        reports = sessions[0]
        self.assertEqual([2, 4], [r["v"] for r in reports])
        self.assertEqual(
            [("Live", 0, "markerEnd", "passive", "cut:a@1"), ("Live", 0, "markerStart", "passive", "cut:b@2")],
            [(r["channel"], r["group"], r["event"], r["action"], r["info"]) for r in reports[0]["records"]])
        self.assertEqual([("Live", 0, "stop"), ("AOD", 1, "start")],
                         [(r["channel"], r["group"], r["event"]) for r in reports[1]["records"]])
        self.assertEqual("2026-01-02T03:04:05.0000678Z", reports[1]["records"][0]["at"])
        self.assertEqual(0, self.sim.state()["consume"]["refused"])

    def test_malformed_reports_are_refused_and_not_kept(self):
        good = document(("Live", [record("start", "tuneIn")]))
        def changed(fn):
            doc = copy.deepcopy(good)
            fn(doc["moduleList"]["modules"], doc["moduleList"]["modules"][0]["moduleRequest"]["consumeRequests"][0])
            return doc
        cases = {
            "not json": b"{\"moduleList\":",
            "no modules": {"moduleList": {"modules": []}},
            "three modules": document(("Live", [record("start", "tuneIn")]), ("AOD", [record("start", "tuneIn")]),
                                      ("aic", [record("start", "tuneIn")])),
            "two of one kind": document(("Live", [record("start", "tuneIn")]), ("Live", [record("stop", "tuneOut")])),
            "no records": document(("Live", [])),
            "other area": changed(lambda m, r: m[0].update(moduleArea="Profile")),
            "other type": changed(lambda m, r: m[0].update(moduleType="Favorites")),
            "a V2 word in V4": document(("Live", [record("markerStart", "tuneIn")])),
            "unknown action": changed(lambda m, r: r.update(consumeEventAction="dance")),
            "flag as text": changed(lambda m, r: r.update(offline="false")),
            "missing text": changed(lambda m, r: r.pop("consumeStreamDateTime")),
            "empty token": changed(lambda m, r: r.update(consumptionInfo="")),
            "time form": changed(lambda m, r: r.update(consumeDateTime="2026-01-02T03:04:05.000+00:00")),
            "too deep": b"[" * 5000 + b"]" * 5000,
        }
        for reason, body in cases.items():
            msg = self.send(V4, body)
            self.assertEqual((0, 600), (msg["status"], msg["messages"][0]["code"]), reason)
        self.assertEqual(len(cases), self.sim.state()["consume"]["refused"])
        self.assertEqual([], self.kept())
        # The same document is good as V2 only with V2's words.
        self.assertEqual(1, self.send(V2, document(("Live", [record("markerStart", "tuneIn")])))["status"])

    def test_a_report_without_a_session_is_refused_as_the_session_calls_are(self):
        msg = self.send(V2, document(("Live", [record("start", "tuneIn")])), cookie=False)
        self.assertEqual((0, 208), (msg["status"], msg["messages"][0]["code"]))
        self.assertEqual([], self.kept())


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__.strip())
    selftest.SIM = sys.argv.pop(1)
    unittest.main(verbosity=2)
