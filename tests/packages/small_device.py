#!/usr/bin/env python3
"""One session of the programs of another processor, and what each kind of command costs there.

    tests/packages/small_device.py QEMU ROOT PROGRAMS

QEMU runs the programs in the folder PROGRAMS with the libraries of ROOT. To be started in network,
IPC and process namespaces of its own (scripts/measure small-devices makes them), of which all it
starts ends with the first process. Prints what did not go as it should and ends with 1, or prints
the costs: what, a tab, and how many instructions.

The instructions are counted by qemu: it translates each by itself (-singlestep) and writes a line
for each that is carried out (-d exec,nochain). Those inside the kernel are not among them.
"""

import os
import pathlib
import socket
import subprocess
import sys
import tempfile
import threading
import time

PATIENCE_S = 300
QUIET_S = 0.4
DEVICES = 64
DEVICES_NETWORK = "devices"


def fail(text):
    sys.exit(f"small_device.py: {text}")


def await_that(what, is_so):
    end = time.monotonic() + PATIENCE_S
    while not is_so():
        if time.monotonic() > end:
            fail(f"waited {PATIENCE_S} s in vain for {what}")
        time.sleep(0.02)


def run(*command):
    done = subprocess.run(command, capture_output=True, text=True, check=False,
                          stdin=subprocess.DEVNULL)
    if done.returncode != 0:
        fail(f"{' '.join(command)} ended with {done.returncode}: {done.stdout}{done.stderr}")
    return done.stdout


def make_network():
    run("ip", "netns", "add", DEVICES_NETWORK)
    run("ip", "link", "set", "lo", "up")
    run("ip", "link", "add", "eth0.2", "type", "veth", "peer", "name", "dev0", "netns",
        DEVICES_NETWORK)
    run("ip", "address", "add", "10.77.0.1/16", "dev", "eth0.2")
    run("ip", "link", "set", "eth0.2", "up")
    devices = ("ip", "-n", DEVICES_NETWORK)
    run(*devices, "link", "set", "lo", "up")
    run(*devices, "address", "add", "10.77.0.2/16", "dev", "dev0")
    run(*devices, "link", "set", "dev0", "up")
    run(*devices, "route", "add", "local", "10.77.1.0/24", "dev", "lo")
    run(*devices, "route", "add", "224.0.0.0/4", "dev", "dev0")
    run("ip", "route", "add", "224.0.0.0/4", "dev", "eth0.2")
    await_that("eth0.2", lambda: " UP " in run("ip", "-brief", "link", "show", "eth0.2"))


class Program:
    """A program that runs, and what it has printed by now."""

    def __init__(self, command, log):
        self.log = pathlib.Path(log)
        with open(log, "wb") as output:
            self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output,
                                            stderr=subprocess.STDOUT)

    def has_printed(self, text):
        if self.process.poll() is not None:
            fail(f"a program has ended with {self.process.returncode}: {self.log.read_text()}")
        return text in self.log.read_text(errors="replace")

    def end(self):
        self.process.terminate()
        self.process.wait()


class InstructionCount(threading.Thread):
    """Counts the lines that qemu writes into a FIFO."""

    def __init__(self, fifo):
        super().__init__(daemon=True)
        self.fifo = fifo
        self.count = 0

    def run(self):
        with open(self.fifo, "rb", buffering=0) as lines:
            while piece := lines.read(1 << 20):
                self.count += piece.count(b"Trace ")

    def settled(self):
        """The count, once nothing has been added to it for a moment."""
        before, since = self.count, time.monotonic()
        while time.monotonic() - since < QUIET_S:
            time.sleep(0.02)
            if self.count != before:
                before, since = self.count, time.monotonic()
        return before


def session(avoipctl):
    """What a user would do first. Each command's answer must show what was asked for."""
    # A fleet that is emulated may answer later than a daemon waits.
    await_that("the devices", lambda: "RX-0032" in run(*avoipctl, "devices"))
    for command, expected in (
            (["matrix", "set", "TX-0002", "RX-0001"], "Sent."),
            (["matrix", "get", "RX-0001"], "TX-0002"),
            (["encoder", "get", "TX-0001"], "H264"),
            (["edid", "get", "RX-0001"], "")):
        answer = run(*avoipctl, "--timeout", str(PATIENCE_S), *command)
        if expected not in answer:
            fail(f"avoipctl {' '.join(command)} shows no {expected}: {answer}")


def cost(count, daemon, console, command):
    """The instructions of one command: of many less those of few, without those of the end."""
    few, many = 2, 12
    used = []
    for number in (few, many):
        end = f"end of {number} {command}"
        before = count.settled()
        console.sendall(f"{command}!".encode() * number + f"{end}!".encode())
        await_that(f"{number} times {command}", lambda end=end: daemon.has_printed(end))
        used.append(count.settled() - before)
    return round((used[1] - used[0]) / (many - few))


def main():
    if len(sys.argv) != 4:
        fail("usage: tests/packages/small_device.py QEMU ROOT PROGRAMS")
    qemu = [sys.argv[1], "-L", sys.argv[2]]
    programs = pathlib.Path(sys.argv[3])
    logs = tempfile.mkdtemp()
    os.environ["AVOIP_LOCK_FILE"] = f"{logs}/lock"
    os.environ["XDG_STATE_HOME"] = logs
    make_network()
    fleet = Program(["ip", "netns", "exec", DEVICES_NETWORK, *qemu,
                     programs / "tools/avoipsim/avoipsim", "--interface", "dev0",
                     "--first-address", "10.77.1.1", "--encoders", str(DEVICES // 2),
                     "--decoders", str(DEVICES // 2)], f"{logs}/avoipsim.log")
    await_that("the fleet", lambda: fleet.has_printed("decoders on dev0"))

    listening = "Server: listening"
    daemon = Program([*qemu, programs / "src/avoipd"], f"{logs}/avoipd.log")
    await_that("the daemon", lambda: daemon.has_printed(listening))
    session([*qemu, str(programs / "tools/avoipctl/avoipctl")])
    daemon.end()

    fifo = f"{logs}/instructions"
    os.mkfifo(fifo)
    count = InstructionCount(fifo)
    count.start()
    daemon = Program([*qemu, "-singlestep", "-d", "exec,nochain", "-D", fifo,
                      programs / "src/avoipd"], f"{logs}/counted.log")
    await_that("the counted daemon", lambda: daemon.has_printed(listening))
    with socket.create_connection(("127.0.0.1", 6888)) as console:
        for what, command in (("one-way command", "device showme TX-0001"),
                              ("single-reply command", "matrix get RX-0001"),
                              (f"discovery of {DEVICES} devices", "config get devices")):
            print(what, cost(count, daemon, console, command), sep="\t")


main()
