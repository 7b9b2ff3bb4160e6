"""This machine's processes, Wine's among them: a Windows program is a process here, with its own command line."""

import os
import signal


def processes_of(program, marker):
    """Numbers of the processes that run `program` (a file name) with `marker` on their command line. A process has no
    command line while it becomes another program, so that a look may miss it."""
    found = []
    for number in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{number}/cmdline", "rb") as file:
                command = file.read()
        except OSError:
            continue
        if program.encode() in command and marker.encode() in command:
            found.append(int(number))
    return found


def kill(*numbers):
    """SIGKILL for each; True if all of them were still there."""
    alive = True
    for number in numbers:
        try:
            os.kill(number, signal.SIGKILL)
        except ProcessLookupError:
            alive = False
    return alive
