#!/usr/bin/env python3
"""Playback checks of tqlsim, from the outside, as a client sees it.

Usage: selftest.py TQLSIM [unittest options]

Starts the simulator on a free port with the shipped catalog, logs in, and
checks tune replies, variant, index, key and chunk files (decrypted with
the openssl command line tool), the playback faults, and that the audio
check script accepts exactly the runs it should. Needs python3 and openssl.
"""
import calendar
import json
import os
import re
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.error
import urllib.request

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)


def read_bytes(path):
    with open(path, "rb") as f:
        return f.read()


CATALOG = json.loads(read_bytes(os.path.join(HERE, "catalog", "catalog.json")))
FIXTURE = [os.path.join(HERE, "fixture", "track%d.aac" % i) for i in (1, 2, 3)]
CHECK = os.path.join(ROOT, "scripts", "check-adts.py")
KEY = CATALOG["fixedKey"]
CHUNK_MS = 8000
FRAMES_PER_CHUNK = 125
TRACK_FRAMES = 375
LOOP_FRAMES = 3 * TRACK_FRAMES
LIVE_TUNE = "/rest/v4/experience/modules/tune/now-playing-live"
AOD_TUNE = "/rest/v2/experience/modules/tune/now-playing-aod"
NOOP = "/rest/v2/experience/modules/get/noop"
SIM = None  # the simulator binary, from the command line


def adts_frames(data):
    frames, pos = [], 0
    while pos < len(data):
        assert data[pos] == 0xFF and data[pos + 1] == 0xF1, "no ADTS frame at byte %d" % pos
        length = ((data[pos + 3] & 3) << 11) | (data[pos + 4] << 3) | (data[pos + 5] >> 5)
        frames.append(data[pos:pos + length])
        pos += length
    return frames


LOOP = [f for path in FIXTURE for f in adts_frames(read_bytes(path))]


def program_time(ms):
    return time.strftime("%Y-%m-%dT%H:%M:%S", time.gmtime(ms // 1000)) + ".%03d+00:00" % (ms % 1000)


def parse_time(text):
    m = re.fullmatch(r"(\d{4})-(\d\d)-(\d\d)T(\d\d):(\d\d):(\d\d)\.(\d{3})\+00:00", text)
    assert m, "not a program time: %r" % text
    y, mo, d, h, mi, s, ms = (int(x) for x in m.groups())
    return calendar.timegm((y, mo, d, h, mi, s)) * 1000 + ms


def now_ms():
    return int(time.time() * 1000)


def decrypt(body, seq, key=KEY):
    """The chunk's plain bytes: AES-128-CBC, IV = the sequence number."""
    run = subprocess.run(["openssl", "enc", "-d", "-aes-128-cbc", "-K", key, "-iv", "%032x" % seq],
                         input=body, capture_output=True)
    if run.returncode != 0:
        raise AssertionError("openssl could not decrypt: " + run.stderr.decode(errors="replace"))
    return run.stdout


def sync_safe(four):
    size = 0
    for b in four:
        assert b < 0x80, "not a sync-safe size"
        size = size * 128 + b
    return size


def split_id3(plain):
    """(the text of the ID3 tag's PRIV frame, the bytes behind the tag)."""
    assert plain[:6] == b"ID3\x04\x00\x00", "no ID3v2.4 tag at the start"
    size = sync_safe(plain[6:10])
    frame = plain[10:10 + size]
    assert frame[:4] == b"PRIV" and sync_safe(frame[4:8]) == size - 10 and frame[8:10] == b"\0\0", frame[:10]
    owner, _, text = frame[10:].partition(b"\0")
    assert owner == b"tqlsim.programDateTime", owner
    return text, plain[10 + size:]


def check_run(data):
    """check-adts.py on data: (exit status, its output)."""
    with tempfile.NamedTemporaryFile(suffix=".aac") as f:
        f.write(data)
        f.flush()
        run = subprocess.run([sys.executable, CHECK, f.name] + FIXTURE, capture_output=True, text=True)
    return run.returncode, (run.stdout + run.stderr).strip()


class Simulator:
    def __init__(self):
        self.proc = subprocess.Popen([SIM, "--port", "0", "--quiet"], stdout=subprocess.PIPE, text=True)
        line = self.proc.stdout.readline()
        m = re.match(r"tqlsim listening on (http://\S+)", line)
        if not m:
            self.proc.kill()
            self.proc.wait(10)
            self.proc.stdout.close()
            raise RuntimeError("tqlsim did not start: %r" % line)
        self.base = m.group(1)
        self.cookie = ""

    def stop(self):
        self.proc.terminate()
        self.proc.wait(10)
        self.proc.stdout.close()

    def get(self, path, cookie=True):
        """(HTTP status, headers, body) of a GET."""
        req = urllib.request.Request(self.base + path)
        if cookie and self.cookie:
            req.add_header("Cookie", self.cookie)
        try:
            with urllib.request.urlopen(req, timeout=10) as r:
                return r.status, r.headers, r.read()
        except urllib.error.HTTPError as e:
            return e.code, e.headers, e.read()

    def post(self, path, body=b""):
        req = urllib.request.Request(self.base + path, data=body, method="POST")
        with urllib.request.urlopen(req, timeout=10) as r:
            return r.headers, r.read()

    def login(self, user="demo", password="demo"):
        doc = {"moduleList": {"modules": [{"moduleRequest": {"standardAuth": {"username": user, "password": password}}}]}}
        headers, _ = self.post("/rest/v2/experience/modules/modify/authentication-partner", json.dumps(doc).encode())
        self.cookie = headers["Set-Cookie"].split(";")[0]

    def fault(self, query):
        self.post("/__sim/fault?" + query)

    def state(self):
        return json.loads(self.get("/__sim/state")[2])

    def message(self, path, cookie=True):
        """The envelope of a service reply."""
        status, _, body = self.get(path, cookie)
        assert status == 200, "%s: HTTP %d" % (path, status)
        return json.loads(body)["TamberQLMessage"]

    def module(self, path):
        msg = self.message(path)
        assert msg["status"] == 1, "%s: %r" % (path, msg["messages"])
        return msg["moduleList"]["modules"][0]


class PlaybackTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.sim = Simulator()
        cls.sim.login()

    @classmethod
    def tearDownClass(cls):
        cls.sim.stop()

    def setUp(self):
        self.sim.post("/__sim/reset")

    def chunk_audio(self, url, seq):
        """The ADTS bytes of a chunk, after checking its length, tag and cipher."""
        status, headers, body = self.sim.get(url)
        self.assertEqual(200, status, url)
        self.assertEqual(len(body), int(headers["Content-Length"]))
        self.assertEqual(0, len(body) % 16)
        tag, audio = split_id3(decrypt(body, seq))
        self.assertNotIn(b"\xff\xf1", tag, "the library would take the tag's bytes for audio")
        return tag, audio

    def index_entries(self, text):
        """[(program time ms, duration text, chunk name)] of an index file."""
        lines = text.splitlines()
        self.assertEqual("#EXTM3U", lines[0])
        self.assertTrue(lines[1].startswith("#EXT-X-"), "the library needs a tag on the second line")
        self.assertIn('#EXT-X-KEY:METHOD=AES-128,URI="key1"', lines[2:])
        entries, when, extinf = [], None, None
        for line in lines[2:]:
            if line.startswith("#EXT-X-PROGRAM-DATE-TIME:"):
                when = parse_time(line[len("#EXT-X-PROGRAM-DATE-TIME:"):])
            elif line.startswith("#EXTINF:"):
                extinf = line[len("#EXTINF:"):]
            elif not line.startswith("#"):
                entries.append((when, extinf, line))
        return entries


class LiveTest(PlaybackTest):
    def tune(self, channel="tonelab2"):
        before = now_ms()
        module = self.sim.module(LIVE_TUNE + "?ccRequestType=AUDIO_VIDEO&channelId=%s&hls_output_mode=custom" % channel)
        return before, now_ms(), module

    def test_tune_reply_names_all_variant_files_and_the_token_time(self):
        _, _, module = self.tune()
        self.assertEqual(("NowPlayingTimelineFeed", "Live", CATALOG["tokenSeconds"]),
                         (module["moduleArea"], module["moduleType"], module["updateFrequency"]))
        self.assertEqual(list(module), ["moduleArea", "moduleType", "updateFrequency", "wallClockRenderTime",
                                        "moduleResponse"], "the type has to come before the response")
        infos = module["moduleResponse"]["liveChannelData"]["hlsAudioInfos"]
        expected = [{"name": n, "size": s, "url": "%%Live_%s_HLS%%/tonelab2/%s/variant.m3u8" % (n.title(), s)}
                    for n in ("primary", "secondary") for s in ("SMALL", "MEDIUM", "LARGE")]
        self.assertEqual(expected, infos)

    def test_cut_markers_fall_where_each_track_begins_in_the_chunks(self):
        before, after, module = self.tune()
        data = module["moduleResponse"]["liveChannelData"]
        lists = {l["layer"]: l["markers"] for l in data["markerLists"]}
        self.assertEqual(["episode", "cut", "segment"], [l["layer"] for l in data["markerLists"]])
        cuts = lists["cut"]
        times = [parse_time(m["timestamp"]["absolute"]) for m in cuts]
        titles = [m["cut"]["title"] for m in cuts]
        # Every 24 s the next track, Chirp 1 at each start of the 72 s loop.
        self.assertEqual([b - a for a, b in zip(times, times[1:])], [24000] * (len(times) - 1))
        self.assertEqual(0, times[0] % 24000, "the loop starts at the epoch")
        for t, title, m in zip(times, titles, cuts):
            n = t // 24000 % 3 + 1
            self.assertEqual(("Chirp %d" % n, "Sweeper %d" % n, "Sweeps %d" % n, 24),
                             (title, m["cut"]["artists"][-1]["name"], m["cut"]["album"]["title"], m["duration"]))
        oldest_large = (before // CHUNK_MS - 29) * CHUNK_MS
        self.assertLessEqual(times[0], oldest_large, "the track playing at the oldest chunk has a marker")
        self.assertGreater(times[1], oldest_large)
        self.assertGreaterEqual(times[-1], after + CATALOG["tokenSeconds"] * 1000, "markers last until the next tune")
        self.assertEqual(times, [parse_time(m["timestamp"]["absolute"]) for m in lists["segment"]])
        # The chunk that starts at a marker's time starts with that track's first frame.
        t = next(t for t in times if oldest_large <= t <= before - CHUNK_MS)
        seq = t // CHUNK_MS
        _, audio = self.chunk_audio("/hls/primary/tonelab2/LARGE/32k/tonelab2_32k_1_0_%d_5.aac" % seq, seq)
        status, out = check_run(audio)
        self.assertEqual(0, status, out)
        self.assertIn("first=%d " % ((t // 24000 % 3) * TRACK_FRAMES), out + " ")

    def test_episode_marker_and_cue_points_cover_the_hour(self):
        before, _, module = self.tune()
        data = module["moduleResponse"]["liveChannelData"]
        episodes = data["markerLists"][0]["markers"]
        hour = before // 3600000 * 3600000
        mine = [e for e in episodes if parse_time(e["timestamp"]["absolute"]) == hour]
        self.assertEqual(1, len(mine))
        self.assertEqual(3600, mine[0]["duration"])
        self.assertEqual("Tone Lab 2", mine[0]["episode"]["show"]["longTitle"])
        self.assertEqual("RESTRICTED", mine[0]["episode"]["dmcaInfo"]["irNavClass"])
        cues = [(c["event"], parse_time(c["timestamp"]["absolute"])) for c in data["cuePointList"]["cuePoints"]
                if c["markerGuid"] == mine[0]["assetGUID"]]
        self.assertEqual([("START", hour), ("END", hour + 3600000)], cues)

    def test_variant_file_lists_three_streams_relative_to_it(self):
        for server in ("primary", "secondary"):
            status, headers, body = self.sim.get("/hls/%s/tonelab2/MEDIUM/variant.m3u8" % server)
            self.assertEqual(200, status)
            lines = body.decode().splitlines()
            self.assertEqual(["#EXTM3U", "#EXT-X-VERSION:3"], lines[:2])
            bandwidths = [re.search(r"BANDWIDTH=(\d+)", l).group(1) for l in lines if l.startswith("#EXT-X-STREAM-INF")]
            self.assertEqual(["16000", "24000", "32000"], bandwidths)
            self.assertEqual(["16k/index.m3u8", "24k/index.m3u8", "32k/index.m3u8"],
                             [l for l in lines if not l.startswith("#")])

    def test_index_files_end_at_the_live_edge_with_program_times_of_the_sequence(self):
        for size, count in (("SMALL", 3), ("MEDIUM", 10), ("LARGE", 30)):
            before = now_ms()
            status, _, body = self.sim.get("/hls/secondary/tonelab2/%s/24k/index.m3u8" % size)
            after = now_ms()
            self.assertEqual(200, status)
            entries = self.index_entries(body.decode())
            self.assertEqual(count, len(entries), size)
            seqs = [int(name.split("_")[-2]) for _, _, name in entries]
            self.assertEqual(list(range(seqs[0], seqs[0] + count)), seqs)
            self.assertIn(seqs[-1], (before // CHUNK_MS, after // CHUNK_MS))
            for (when, extinf, name), seq in zip(entries, seqs):
                self.assertEqual((seq * CHUNK_MS, "8,", "tonelab2_32k_1_0_%d_5.aac" % seq), (when, extinf, name))

    def test_chunks_carry_the_looped_fixture_frames_on_both_servers(self):
        seq = now_ms() // CHUNK_MS - 2
        runs = []
        for server, stream in (("primary", "32k"), ("secondary", "16k")):
            tag, audio = self.chunk_audio("/hls/%s/tonelab2/SMALL/%s/tonelab2_32k_1_0_%d_5.aac" % (server, stream, seq), seq)
            self.assertEqual(program_time(seq * CHUNK_MS).encode(), tag)
            runs.append(audio)
        self.assertEqual(runs[0], runs[1])
        expected = b"".join(LOOP[(seq * FRAMES_PER_CHUNK + i) % LOOP_FRAMES] for i in range(FRAMES_PER_CHUNK))
        self.assertEqual(expected, runs[0])
        # Two chunks in a row are one unbroken run of the fixture.
        _, following = self.chunk_audio("/hls/primary/tonelab2/SMALL/32k/tonelab2_32k_1_0_%d_5.aac" % (seq + 1), seq + 1)
        status, out = check_run(runs[0] + following)
        self.assertEqual(0, status, out)
        self.assertTrue(out.startswith("frames=250 seconds=16.000"), out)

    def test_key_files_hold_the_fixed_key_unless_told_otherwise(self):
        url = "/hls/primary/tonelab2/MEDIUM/32k/key1"
        self.assertEqual(bytes.fromhex(KEY), self.sim.get(url)[2])
        key2 = self.sim.get(url[:-1] + "2")[2]
        self.assertEqual(16, len(key2))
        self.assertNotEqual(bytes.fromhex(KEY), key2)
        self.sim.fault("wrongkey")
        wrong = self.sim.get(url)[2]
        self.assertEqual(16, len(wrong))
        self.assertNotEqual(bytes.fromhex(KEY), wrong)
        # The chunks stay encrypted with the real key.
        seq = now_ms() // CHUNK_MS - 1
        self.chunk_audio("/hls/primary/tonelab2/MEDIUM/32k/tonelab2_32k_1_0_%d_5.aac" % seq, seq)
        self.sim.fault("wrongkey=0")
        self.assertEqual(bytes.fromhex(KEY), self.sim.get(url)[2])

    def test_only_listed_chunks_are_served(self):
        edge = now_ms() // CHUNK_MS
        base = "/hls/primary/tonelab2/MEDIUM/32k/"
        for name in ("tonelab2_32k_1_0_%d_5.aac" % (edge + 3),  # not yet there
                     "tonelab2_32k_1_0_0%d_5.aac" % edge,  # a name never given out
                     "tonelab1_32k_1_0_%d_5.aac" % edge,  # another channel's
                     "tonelab2_64k_1_0_%d_5.aac" % edge):
            self.assertEqual(404, self.sim.get(base + name)[0], name)
        self.assertEqual(404, self.sim.get("/hls/primary/tonelab2/HUGE/variant.m3u8")[0])
        self.assertEqual(404, self.sim.get("/hls/primary/quizcorner/MEDIUM/variant.m3u8")[0])
        self.assertEqual(404, self.sim.get("/hls/tertiary/tonelab2/MEDIUM/variant.m3u8")[0])

    def test_chunk404_refuses_the_next_chunks_only(self):
        self.sim.fault("chunk404=2")
        seq = now_ms() // CHUNK_MS - 1
        url = "/hls/secondary/tonelab2/MEDIUM/32k/tonelab2_32k_1_0_%d_5.aac" % seq
        self.assertEqual(200, self.sim.get("/hls/secondary/tonelab2/MEDIUM/32k/index.m3u8")[0])
        self.assertEqual([404, 404, 200], [self.sim.get(url)[0] for _ in range(3)])
        self.assertEqual(0, self.sim.state()["faults"]["chunk404"])

    def test_badtail_ends_the_next_chunks_in_a_header_that_never_comes_whole(self):
        self.sim.fault("badtail=1")
        seq = now_ms() // CHUNK_MS - 1
        url = "/hls/primary/tonelab2/MEDIUM/32k/tonelab2_32k_1_0_%d_5.aac" % seq
        _, bad = self.chunk_audio(url, seq)
        _, good = self.chunk_audio(url, seq)
        self.assertEqual(good + b"\xff\xf1\x50", bad)
        self.assertEqual(0, self.sim.state()["faults"]["badtail"])

    def test_indexfail_fails_the_index_files_of_one_server(self):
        counts = self.sim.state()["hls"]
        self.sim.fault("indexfail=primary")
        self.assertEqual(200, self.sim.get("/hls/primary/tonelab2/MEDIUM/variant.m3u8")[0])
        self.assertEqual(500, self.sim.get("/hls/primary/tonelab2/MEDIUM/32k/index.m3u8")[0])
        self.assertEqual(200, self.sim.get("/hls/secondary/tonelab2/MEDIUM/32k/index.m3u8")[0])
        hls = self.sim.state()["hls"]
        self.assertEqual(counts["primary"]["index"] + 1, hls["primary"]["index"])
        self.assertEqual(counts["secondary"]["index"] + 1, hls["secondary"]["index"])
        self.sim.fault("indexfail=none")
        self.assertEqual(200, self.sim.get("/hls/primary/tonelab2/MEDIUM/32k/index.m3u8")[0])

    def test_backlog_lengthens_the_large_index_only(self):
        def chunks(size):
            body = self.sim.get("/hls/primary/tonelab2/%s/32k/index.m3u8" % size)[2].decode()
            return [line for line in body.splitlines() if line.endswith(".aac")]
        self.assertEqual(30, len(chunks("LARGE")))
        self.sim.fault("backlog=100")
        self.assertEqual(100, self.sim.state()["faults"]["backlog"])
        large = chunks("LARGE")
        self.assertIn(len(large), (100, 101))  # the edge may move between the two reads
        self.assertEqual(10, len(chunks("MEDIUM")))
        # The oldest listed chunk can be fetched; a value out of range is refused.
        self.assertEqual(200, self.sim.get("/hls/primary/tonelab2/LARGE/32k/" + large[0])[0])
        with self.assertRaises(urllib.error.HTTPError) as refused:
            self.sim.fault("backlog=29")
        self.assertEqual(400, refused.exception.code)
        self.assertEqual(100, self.sim.state()["faults"]["backlog"])

    def test_tune_refuses_unknown_unavailable_and_sequenced_channels(self):
        for channel in ("nosuchchannel", "quizcorner", "mixtape"):
            msg = self.sim.message(LIVE_TUNE + "?channelId=" + channel)
            self.assertEqual((0, [309]), (msg["status"], [m["code"] for m in msg["messages"]]), channel)
        # A channel guid is taken as well as its id.
        self.sim.module(LIVE_TUNE + "?channelId=c4a00000-0000-4000-8000-000000000002")


class OnDemandTest(PlaybackTest):
    EPISODE = CATALOG["episodes"][0]

    def test_tune_reply_has_the_episode_and_a_marker_per_track(self):
        module = self.sim.module(AOD_TUNE + "?caId=%s&hls_output_mode=custom&channelId=sinegarden" % self.EPISODE["caId"])
        self.assertEqual("AOD", module["moduleType"])
        data = module["moduleResponse"]["aodData"]
        self.assertEqual("%AOD_Primary_HLS%/quietsine-ep1/LARGE/variant.m3u8", data["hlsAudioInfos"][2]["url"])
        start = parse_time(self.EPISODE["start"])
        lists = {l["layer"]: l["markers"] for l in data["markerLists"]}
        self.assertEqual([(start, "Chirp 1"), (start + 24000, "Chirp 2"), (start + 48000, "Chirp 3")],
                         [(parse_time(m["timestamp"]["absolute"]), m["cut"]["title"]) for m in lists["cut"]])
        episode = lists["episode"][0]
        self.assertEqual((self.EPISODE["guid"], 72, "The Quiet Sine"),
                         (episode["assetGUID"], episode["duration"], episode["episode"]["show"]["longTitle"]))
        self.assertEqual([("START", start), ("END", start + 72000)],
                         [(c["event"], parse_time(c["timestamp"]["absolute"])) for c in data["cuePointList"]["cuePoints"]])

    def test_index_lists_the_whole_episode_and_its_chunks_play_the_fixture_once(self):
        start = parse_time(self.EPISODE["start"])
        status, _, body = self.sim.get("/hls/aod/secondary/quietsine-ep1/LARGE/32k/index.m3u8")
        self.assertEqual(200, status)
        text = body.decode()
        self.assertTrue(text.endswith("#EXT-X-ENDLIST\n"))
        entries = self.index_entries(text)
        self.assertEqual([(start + i * CHUNK_MS, "8,", "quietsine-ep1_32k_1_0_%d_5.aac" % (i + 1)) for i in range(9)],
                         entries)
        audio = b"".join(self.chunk_audio("/hls/aod/primary/quietsine-ep1/LARGE/32k/" + name, i + 1)[1]
                         for i, (_, _, name) in enumerate(entries))
        self.assertEqual(b"".join(LOOP), audio)
        self.assertEqual(404, self.sim.get("/hls/aod/primary/quietsine-ep1/LARGE/32k/quietsine-ep1_32k_1_0_10_5.aac")[0])

    def test_unknown_episode_is_not_available(self):
        msg = self.sim.message(AOD_TUNE + "?caId=nosuchepisode&channelId=sinegarden")
        self.assertEqual((0, [309]), (msg["status"], [m["code"] for m in msg["messages"]]))


class SessionTest(unittest.TestCase):
    def setUp(self):
        self.sim = Simulator()

    def tearDown(self):
        self.sim.stop()

    def codes(self, path):
        msg = self.sim.message(path)
        return msg["status"], [m["code"] for m in msg["messages"]]

    def test_tune_needs_a_session_and_answers_204_once_logged_in_elsewhere(self):
        tune = LIVE_TUNE + "?channelId=tonelab2"
        self.assertEqual((0, [208]), self.codes(tune))
        self.sim.login()
        self.assertEqual(1, self.codes(tune)[0])
        self.sim.fault("elsewhere=demo")
        self.assertEqual((0, [204]), self.codes(tune))
        self.assertEqual((0, [204]), self.codes(NOOP))
        self.assertEqual((0, [204]), self.codes(AOD_TUNE + "?caId=quietsine-ep1"))


class CheckAdtsTest(unittest.TestCase):
    """The checker takes exactly an unbroken run of the looped fixture."""

    def test_a_run_across_the_loop_end_is_found(self):
        status, out = check_run(b"".join(LOOP[1000:] + LOOP[:300]))
        self.assertEqual((0, "frames=425 seconds=27.200 first=1000 track=3 offset=250"), (status, out))

    def test_a_whole_track_from_its_start(self):
        status, out = check_run(read_bytes(FIXTURE[1]))
        self.assertEqual((0, "frames=375 seconds=24.000 first=375 track=2 offset=0"), (status, out))

    def test_faults_in_the_run_are_refused_with_a_reason(self):
        cases = {
            "1 frames left out": LOOP[10:50] + LOOP[51:80],
            "2 frames played again": LOOP[10:50] + LOOP[48:80],
            "an ID3 tag": [b"ID3\x04\x00\x00\x00\x00\x00\x00"] + LOOP[10:20],
            "is cut": LOOP[10:20] + [LOOP[20][:30]],
            "not the start of an ADTS frame": LOOP[10:20] + [b"\x04\x04\x04\x04"],
            "is not in the fixture": LOOP[10:20] + [LOOP[20][:-1] + bytes([LOOP[20][-1] ^ 1])],
            "no audio frame": [],
        }
        for reason, frames in cases.items():
            status, out = check_run(b"".join(frames))
            self.assertEqual(1, status, reason)
            self.assertIn(reason, out)


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__.strip())
    SIM = sys.argv.pop(1)
    unittest.main(verbosity=2)
