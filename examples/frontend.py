#!/usr/bin/env python3
"""A front end in Python, on nothing but its own modules: lists the devices, routes an encoder's
video to a decoder, and prints both answers.

    frontend.py TX-0001 RX-0001

It keeps one connection, takes turns with other front ends, tells them in the lock file what it
waits for, and waits for what they have given up. docs/console.md says all of this to the letter.
"""

import ctypes
import fcntl
import itertools
import json
import os
import socket
import stat
import sys
import time

CONSOLE = ("127.0.0.1", 6888)
SEGMENT_KEY = 0x12345678
PREFIX = b"end\r\n"
ANSWER_MAX = 4 * 1024 * 1024
LINGER_MS = 15_000
PAUSE_S = 0.002


class Trouble(Exception):
    """No answer, and why."""


def since_boot_ms():
    return time.clock_gettime_ns(time.CLOCK_BOOTTIME) // 1_000_000


class Segment:
    """The answer segment, attached."""

    libc = ctypes.CDLL(None, use_errno=True)
    libc.shmat.restype = ctypes.c_void_p
    libc.shmat.argtypes = (ctypes.c_int, ctypes.c_void_p, ctypes.c_int)
    libc.shmdt.argtypes = (ctypes.c_void_p,)

    @staticmethod
    def facts():
        """Its number, size, owner and group; nothing when there is none."""
        with open("/proc/sysvipc/shm", encoding="ascii") as table:
            columns = table.readline().split()
            for line in table:
                row = dict(zip(columns, map(int, line.split())))
                if row["key"] == SEGMENT_KEY:
                    return row["shmid"], row["size"], row["uid"], row["gid"]
        raise Trouble("there is no answer segment: is avoipd running?")

    def __init__(self):
        number, self.size, _, _ = self.facts()
        self.address = self.libc.shmat(number, None, 0)
        if self.address in (None, ctypes.c_void_p(-1).value):
            reason = os.strerror(ctypes.get_errno())
            raise Trouble("the answer segment may not be written: " + reason)

    def close(self):
        self.libc.shmdt(self.address)

    def clear(self):
        ctypes.memset(self.address, 0, len(PREFIX))

    def take(self):
        """The answer that stands in it, as JSON; None when there is none."""
        if ctypes.string_at(self.address, len(PREFIX)) != PREFIX:
            return None
        self.clear()
        room = min(self.size - len(PREFIX), ANSWER_MAX)
        text = ctypes.string_at(self.address + len(PREFIX), room).split(b"\0", 1)[0]
        return json.loads(text)


class Notes:
    """What the lock file says."""

    def __init__(self, text, daemon):
        self.daemon, self.clean, self.owed = daemon, False, []
        lines = text.split("\n")
        if lines[0] != "avoip 1" or "end" not in lines:
            return
        for line in lines[1 : lines.index("end")]:
            word, _, rest = line.partition(" ")
            if word == "daemon" and rest != str(daemon):
                return  # They are told of a daemon that is gone.
            if word == "clean":
                self.clean = True
            elif word == "owed":
                until, shared, pid, number, name = rest.split(" ", 4)
                self.owed.append([int(until), int(shared), pid, number, [name]])
            elif word == "or" and self.owed:
                self.owed[-1][4].append(rest)

    def __str__(self):
        lines = ["avoip 1", f"daemon {self.daemon}"] + (["clean"] if self.clean else [])
        for *numbers, names in self.owed[-16:]:
            lines.append("owed " + " ".join(map(str, numbers)) + " " + names[0])
            lines += ["or " + name for name in names[1:]]
        return "\n".join(lines + ["end", ""])

    def settle(self, name):
        """Forgets the first answer that is owed under this name."""
        for owed in self.owed:
            if name in owed[4] or "*" in owed[4]:
                self.owed.remove(owed)
                return

    def obstacle(self, names, reads):
        """Whether an answer is owed that a command with these names must wait for."""
        now = since_boot_ms()
        self.owed = [owed for owed in self.owed if now < owed[0] <= now + 7_200_000]
        return any(
            (reads and owed[1] > now) or {*names, "*"} & {*owed[4]} for owed in self.owed
        )


class Turn:
    """The lock file, locked."""

    def __init__(self, deadline):
        self.file = self.open()
        while True:
            try:
                fcntl.flock(self.file, fcntl.LOCK_EX | fcntl.LOCK_NB)
            except BlockingIOError:
                if time.monotonic() > deadline:
                    os.close(self.file)
                    raise Trouble("other front ends have their turns all the time") from None
                time.sleep(PAUSE_S)
                continue
            if os.fstat(self.file).st_nlink > 0:
                return
            os.close(self.file)
            self.file = self.open()

    @staticmethod
    def path():
        name = f"avoip-frontend-{os.stat('/proc/self/ns/ipc').st_ino}.lock"
        folder = "/run/avoip" if os.path.isdir("/run/avoip") else "/run/lock"
        return os.environ.get("AVOIP_LOCK_FILE") or os.path.join(folder, name)

    @classmethod
    def open(cls):
        flags = os.O_RDWR | os.O_NONBLOCK | os.O_NOFOLLOW | os.O_CLOEXEC
        _, _, owner, group = Segment.facts()
        try:
            file = os.open(cls.path(), flags)
        except FileNotFoundError:
            file = os.open(cls.path(), flags | os.O_CREAT, 0o660)
            os.fchown(file, -1, group)
            os.fchmod(file, 0o660)
        facts = os.fstat(file)
        known = facts.st_uid in (0, owner, os.geteuid()) or facts.st_gid == group
        if not stat.S_ISREG(facts.st_mode) or facts.st_nlink > 1 or not known:
            raise Trouble("the lock file is not one to be trusted: " + cls.path())
        return file

    def read(self):
        return os.pread(self.file, 8192, 0).decode(errors="replace")

    def write(self, text):
        data = str(text).encode()
        os.pwrite(self.file, data, 0)
        os.ftruncate(self.file, len(data))

    def close(self):
        os.close(self.file)


class FrontEnd:
    numbers = itertools.count(1)

    def __init__(self):
        self.connection = None

    def connect(self, deadline):
        """Connects, unless that is so; the daemon never writes, so what can be read is its end."""
        if self.connection is not None:
            try:
                self.connection.recv(1, socket.MSG_DONTWAIT | socket.MSG_PEEK)
            except BlockingIOError:
                return
            except OSError:
                pass
        patience = min(deadline, time.monotonic() + 2)
        while True:
            try:
                self.connection = socket.create_connection(CONSOLE, 5)
                self.connection.setblocking(True)
                return
            except ConnectionRefusedError:
                if time.monotonic() > patience:
                    raise Trouble("no daemon listens") from None
                time.sleep(0.05)

    @staticmethod
    def daemon():
        """The inode of the socket that listens on the console's port."""
        with open("/proc/self/net/tcp", encoding="ascii") as table:
            for words in map(str.split, itertools.islice(table, 1, None)):
                if words[3] == "0A" and words[1].endswith(f":{CONSOLE[1]:04X}"):
                    return int(words[9])
        return 0

    def ask(self, command, names, timeout_s, reads=True):
        """The answer to a console text, which counts only under one of these names."""
        deadline = time.monotonic() + timeout_s
        turn = Turn(deadline)
        try:
            self.connect(deadline)
            segment = Segment()
            try:
                return self.ask_in_turn(turn, segment, command, names, deadline, reads)
            finally:
                segment.close()
        finally:
            turn.close()

    def ask_in_turn(self, turn, segment, command, names, deadline, reads):
        notes = Notes(turn.read(), self.daemon())
        while notes.obstacle(names, reads):
            self.wait(segment, notes, (), deadline, "the daemon is at work for somebody else")
        now = since_boot_ms()
        own = [now + LINGER_MS, now + LINGER_MS if reads else 0, os.getpid(), next(self.numbers),
               list(names)]
        notes.owed.append(own)
        notes.clean = notes.clean and not reads
        turn.write(notes)
        segment.clear()
        self.connection.sendall(command.encode())
        answer = None
        try:
            while answer is None:
                answer = self.wait(segment, notes, names, deadline, "no answer in time")
            notes.owed.remove(own)
        except Trouble:
            # The next one shall not queue up behind this command, and shall know of it.
            self.connection.close()
            self.connection = None
            own[0] = since_boot_ms() + LINGER_MS
            raise
        finally:
            turn.write(notes)
        return answer

    @staticmethod
    def wait(segment, notes, names, deadline, trouble):
        """One look at the segment: an answer under one of the names, or None."""
        answer = segment.take()
        if answer is None:
            if time.monotonic() > deadline:
                raise Trouble(trouble)
            time.sleep(PAUSE_S)
        elif answer["ack"]["cmd"] in names:
            return answer
        else:
            notes.settle(answer["ack"]["cmd"])
        return None


def main():
    if len(sys.argv) != 3:
        print("usage: frontend.py ENCODER DECODER", file=sys.stderr)
        return 2
    encoder, decoder = sys.argv[1:]
    front_end = FrontEnd()
    questions = (
        ("config get devices!", ("config get devices",), 10, True),
        (f"matrix set {encoder} {decoder}!", ("matrix sets", "matrix set"), 5, False),
    )
    try:
        for command, names, timeout_s, reads in questions:
            answer = front_end.ask(command, names, timeout_s, reads)
            print(json.dumps(answer, separators=(",", ":")), flush=True)
    except Trouble as trouble:
        print(f"frontend.py: {trouble}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
