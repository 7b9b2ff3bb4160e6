"""Waiting for what others do, and the one exception of the laboratory's own."""

import time


class LabFailure(AssertionError):
    """Something didn't happen or isn't as it must be; the text says what. unittest counts it as a failed test."""


def wait_until(condition, what, timeout=60.0, pause=0.01):
    """Waits for `condition()` to be true and gives its value. Raises LabFailure after `timeout` seconds, with `what`, a
    text or a function that gives one. Asked at least once after the time is up, so a machine that stood still for a
    while doesn't count."""
    end = time.monotonic() + timeout
    while True:
        late = time.monotonic() >= end
        if value := condition():
            return value
        if late:
            raise LabFailure(f"waited {timeout} s in vain: {what() if callable(what) else what}")
        time.sleep(pause)
