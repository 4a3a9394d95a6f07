#!/usr/bin/env python3
"""Checks that a played ADTS file is one unbroken run of the audio fixture.

Usage: check-adts.py OUTPUT FIXTURE [FIXTURE...]

The fixture files are given in the order in which the stream loops over
them. Both sides are split into ADTS frames; the output's first frame is
looked up in the looped fixture, and every further output frame must be the
next fixture frame, wrapping from the last file to the first. Anything else
fails: bytes that are no ADTS frame (an ID3 tag, a cut frame, padding), a
frame not in the fixture, a gap, a repeat.

On success prints one line:
    frames=N seconds=S first=I track=T offset=K
N frames of S seconds in all, starting at frame I of the looped fixture
(0-based), which is frame K (0-based) of fixture file T (1-based).
Exit status: 0 good, 1 the output is not such a run, 2 bad use or input.
"""
import sys

SAMPLE_RATES = [96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000, 7350]


class Bad(Exception):
    pass


def adts_frames(data, name):
    """Splits data into ADTS frames; gives (frames, sample rate)."""
    pos, frames, rate = 0, [], None
    while pos < len(data):
        head = data[pos:pos + 7]
        if head[:3] == b"ID3":
            raise Bad("%s: an ID3 tag at byte %d" % (name, pos))
        if len(head) < 7 or head[0] != 0xFF or (head[1] & 0xF6) != 0xF0:
            raise Bad("%s: byte %d is not the start of an ADTS frame (%d bytes left: %s)"
                      % (name, pos, len(data) - pos, data[pos:pos + 8].hex()))
        length = ((head[3] & 0x03) << 11) | (head[4] << 3) | (head[5] >> 5)
        header = 7 if head[1] & 0x01 else 9
        if length < header:
            raise Bad("%s: ADTS frame at byte %d has length %d" % (name, pos, length))
        if pos + length > len(data):
            raise Bad("%s: the last frame, at byte %d, is cut: %d of %d bytes"
                      % (name, pos, len(data) - pos, length))
        index = (head[2] >> 2) & 0x0F
        if index >= len(SAMPLE_RATES):
            raise Bad("%s: frame at byte %d has sample rate index %d" % (name, pos, index))
        if rate is None:
            rate = SAMPLE_RATES[index]
        elif SAMPLE_RATES[index] != rate:
            raise Bad("%s: frame at byte %d changes the sample rate" % (name, pos))
        frames.append(data[pos:pos + length])
        pos += length
    return frames, rate


def read(path):
    try:
        with open(path, "rb") as f:
            return f.read()
    except OSError as e:
        print("check-adts: %s" % e, file=sys.stderr)
        sys.exit(2)


def load_fixture(paths):
    """Gives the looped frame list, where each frame sits, and the rate."""
    frames, where, rate = [], [], None
    for number, path in enumerate(paths, 1):
        try:
            got, file_rate = adts_frames(read(path), path)
        except Bad as e:
            print("check-adts: fixture: %s" % e, file=sys.stderr)
            sys.exit(2)
        if not got:
            print("check-adts: fixture %s holds no frame" % path, file=sys.stderr)
            sys.exit(2)
        if rate is not None and file_rate != rate:
            print("check-adts: fixture %s has another sample rate" % path, file=sys.stderr)
            sys.exit(2)
        rate = file_rate
        frames += got
        where += [(number, k) for k in range(len(got))]
    return frames, where, rate


def check(output, fixture, where, rate):
    """Gives the result line, or raises Bad."""
    index = {}
    for i, frame in enumerate(fixture):
        if frame in index:
            raise Bad("the fixture repeats a frame (%d and %d): a run cannot be placed" % (index[frame], i))
        index[frame] = i
    frames, out_rate = adts_frames(output, "output")
    if not frames:
        raise Bad("output: no audio frame")
    if out_rate != rate:
        raise Bad("output: sample rate %d, the fixture's is %d" % (out_rate, rate))
    first = index.get(frames[0])
    if first is None:
        raise Bad("output: the first frame is not in the fixture")
    n = len(fixture)
    for k, frame in enumerate(frames[1:], 1):
        expected = (first + k) % n
        if frame == fixture[expected]:
            continue
        found = index.get(frame)
        at = k * 1024.0 / rate
        if found is None:
            raise Bad("output: frame %d (%.3f s in) is not in the fixture" % (k, at))
        ahead = (found - expected) % n
        what = "%d frames left out" % ahead if ahead <= n // 2 else "%d frames played again" % (n - ahead)
        raise Bad("output: frame %d (%.3f s in) is fixture frame %d where %d was due: %s"
                  % (k, at, found, expected, what))
    track, offset = where[first]
    return "frames=%d seconds=%.3f first=%d track=%d offset=%d" % (
        len(frames), len(frames) * 1024.0 / rate, first, track, offset)


def main(argv):
    if len(argv) < 3 or argv[1] in ("-h", "--help"):
        print(__doc__.strip(), file=sys.stderr)
        return 2
    fixture, where, rate = load_fixture(argv[2:])
    try:
        print(check(read(argv[1]), fixture, where, rate))
    except Bad as e:
        print("check-adts: %s" % e, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
