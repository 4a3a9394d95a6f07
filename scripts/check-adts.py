#!/usr/bin/env python3
"""Checks that a played ADTS file is one unbroken run of the audio fixture.

Usage: check-adts.py OUTPUT FIXTURE [FIXTURE...]
       check-adts.py --clips OUTPUT FIXTURE [FIXTURE...]

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

With --clips the output is a clip channel's: a series of clips, each one
fixture file from its first frame on, in fixture order (after the last file
the first again). A clip may stop short only where the next one starts (a
skip), and then the next may also be the same file again (the clip started
over); the last clip may stop anywhere. Anything else fails as above. On
success prints one line:
    clips=N cut=C frames=F seconds=S first=T order=T1,T2,...
N clips, C of them cut short by the next, F frames of S seconds, the first
clip being fixture file T (1-based), and the files of all clips in order.
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


def check_clips(output, fixture, where, rate):
    """Gives the result line of a clip series, or raises Bad."""
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
    files = max(number for number, _ in where)
    length = {f: sum(1 for number, _ in where if number == f) for f in range(1, files + 1)}
    start = {f: next(i for i, (number, _) in enumerate(where) if number == f) for f in range(1, files + 1)}
    order, cut, k, allowed = [], 0, 0, None
    while k < len(frames):
        found = index.get(frames[k])
        at = k * 1024.0 / rate
        if found is None:
            raise Bad("output: frame %d (%.3f s in) is not in the fixture" % (k, at))
        number, offset = where[found]
        if offset != 0:
            raise Bad("output: clip %d starts at frame %d of file %d (%.3f s in), not at its start"
                      % (len(order) + 1, offset, number, at))
        if allowed is not None and number not in allowed:
            raise Bad("output: clip %d (%.3f s in) is file %d where file %s was due"
                      % (len(order) + 1, at, number, " or ".join(str(a) for a in sorted(allowed))))
        n = 0
        while n < length[number] and k + n < len(frames) and frames[k + n] == fixture[start[number] + n]:
            n += 1
        order.append(number)
        k += n
        following = number % files + 1
        if n == length[number]:
            allowed = {following}
        elif k < len(frames):
            cut += 1
            allowed = {following, number}
    return "clips=%d cut=%d frames=%d seconds=%.3f first=%d order=%s" % (
        len(order), cut, len(frames), len(frames) * 1024.0 / rate, order[0], ",".join(str(o) for o in order))


def main(argv):
    clips = len(argv) > 1 and argv[1] == "--clips"
    if clips:
        argv = argv[:1] + argv[2:]
    if len(argv) < 3 or argv[1] in ("-h", "--help"):
        print(__doc__.strip(), file=sys.stderr)
        return 2
    fixture, where, rate = load_fixture(argv[2:])
    try:
        print((check_clips if clips else check)(read(argv[1]), fixture, where, rate))
    except Bad as e:
        print("check-adts: %s" % e, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
