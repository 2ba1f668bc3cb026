"""Runs tools with subprocess as it is told on standard input, and answers with the seconds."""

import subprocess
import sys
import time

ballast = None


def launch(count, tool):
    for _ in range(count):
        subprocess.run([tool], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def capture(count, *command):
    assert len(subprocess.run(command, stdout=subprocess.PIPE).stdout) == count


for line in sys.stdin:
    operation, number, *command = line.split()
    start = time.perf_counter()
    if operation == "launch":
        launch(int(number), *command)
    elif operation == "capture":
        capture(int(number), *command)
    elif operation == "grow":
        ballast = bytearray(b"x") * int(number)
    print(time.perf_counter() - start, flush=True)
