#!/usr/bin/env python3
"""Runs a program on a pseudo-terminal and drives it like a person at the keys.

Usage: ptydrive.py TIMEOUT LOG COMMAND [ARG...]  < SCRIPT

Everything the program writes to the terminal goes to LOG. The script on
stdin has one step a line:

    expect TEXT     wait until TEXT shows, after what the last expect matched
    send TEXT       type TEXT; backslash escapes work (\\x20 a space, \\x03 Ctrl-C,
                    \\x1b[C the right arrow)
    sleep SECONDS   wait, still reading what the program writes
    run COMMAND     run a shell command; it must succeed
    wait SECONDS    the program must end within SECONDS

Blank lines and lines starting with # are skipped. After the script the
program is given the rest of TIMEOUT to end.

Exit status: the program's own (128 + N when signal N ended it); 124 when
TIMEOUT ran out or a wait step waited in vain, 125 when an expect or a run
step failed. The program is killed in both cases.
"""
import fcntl
import os
import pty
import select
import struct
import signal
import subprocess
import sys
import termios
import time


class Driver:
    def __init__(self, command, log, timeout):
        self.deadline = time.monotonic() + timeout
        self.log = open(log, "wb")
        self.seen = b""
        self.cursor = 0
        self.status = None
        self.pid, self.fd = pty.fork()
        if self.pid == 0:
            try:
                os.execvp(command[0], command)
            finally:
                os._exit(127)
        # A terminal of a common size, so that a program fitting its lines has room.
        fcntl.ioctl(self.fd, termios.TIOCSWINSZ, struct.pack("HHHH", 40, 120, 0, 0))

    def pump(self, until):
        """Reads output until the time until, or the program's end."""
        while self.status is None:
            left = min(until, self.deadline) - time.monotonic()
            if left <= 0:
                return
            ready, _, _ = select.select([self.fd], [], [], min(left, 0.05))
            if ready:
                try:
                    data = os.read(self.fd, 4096)
                except OSError:
                    data = b""
                if data:
                    self.seen += data
                    self.log.write(data)
                    self.log.flush()
                    continue
            self.reap()

    def reap(self, block=False):
        pid, raw = os.waitpid(self.pid, 0 if block else os.WNOHANG)
        if pid:
            self.drain()
            self.status = os.WEXITSTATUS(raw) if os.WIFEXITED(raw) else 128 + os.WTERMSIG(raw)

    def drain(self):
        while True:
            try:
                ready, _, _ = select.select([self.fd], [], [], 0)
                data = os.read(self.fd, 4096) if ready else b""
            except OSError:
                data = b""
            if not data:
                return
            self.seen += data
            self.log.write(data)

    def expect(self, text):
        want = text.encode()
        while True:
            at = self.seen.find(want, self.cursor)
            if at >= 0:
                self.cursor = at + len(want)
                return True
            if self.status is not None or time.monotonic() >= self.deadline:
                return False
            self.pump(time.monotonic() + 0.05)

    def kill(self):
        if self.status is None:
            os.kill(self.pid, signal.SIGKILL)
            self.reap(block=True)


def main():
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    timeout, log, command = float(sys.argv[1]), sys.argv[2], sys.argv[3:]
    driver = Driver(command, log, timeout)
    for line in sys.stdin.read().splitlines():
        line = line.strip()
        if not line or line.startswith("#"):
            continue
        step, _, arg = line.partition(" ")
        if step == "expect":
            if not driver.expect(arg):
                print("ptydrive: never saw %r" % arg, file=sys.stderr)
                driver.kill()
                sys.exit(125)
        elif step == "send":
            os.write(driver.fd, arg.encode().decode("unicode_escape").encode("latin-1"))
        elif step == "sleep":
            driver.pump(time.monotonic() + float(arg))
        elif step == "run":
            driver.pump(time.monotonic())
            if subprocess.run(arg, shell=True).returncode != 0:
                print("ptydrive: failed: %s" % arg, file=sys.stderr)
                driver.kill()
                sys.exit(125)
        elif step == "wait":
            driver.pump(time.monotonic() + float(arg))
            if driver.status is None:
                print("ptydrive: still running after %s s" % arg, file=sys.stderr)
                driver.kill()
                sys.exit(124)
        else:
            sys.exit("ptydrive: unknown step %r" % step)
    driver.pump(driver.deadline)
    if driver.status is None:
        print("ptydrive: timed out", file=sys.stderr)
        driver.kill()
        sys.exit(124)
    sys.exit(driver.status)


if __name__ == "__main__":
    main()
