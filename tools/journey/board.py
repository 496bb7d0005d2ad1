"""Plays a microcontroller board at a pseudo-terminal; killing it unplugs the board.

Makes the given path a link to the port. Sends what the board is and its readings once a second, and
obeys updates of the member "led".
"""

import contextlib
import json
import os
import pty
import select
import sys
import time
import tty

THING = {"serial": "weather-1", "title": "Weather station"}


def main():
    board, port = pty.openpty()  # while `port` is closed, reading from the board would fail
    tty.setraw(port)
    os.set_blocking(board, False)  # perhaps nothing reads at the port
    os.symlink(os.ttyname(port), sys.argv[1])
    print(sys.argv[1], flush=True)
    led, count, received, due = False, 0, b"", time.monotonic()
    while True:
        if select.select([board], [], [], max(0, due - time.monotonic()))[0]:
            *lines, received = (received + os.read(board, 4096)).split(b"\n")
            for line in lines:
                led = json.loads(line).get("led", led)
                due = 0
        if time.monotonic() >= due:
            count += 1
            report = {"thing": THING, "temperature": 20 + count % 10 / 2, "led": led}
            with contextlib.suppress(BlockingIOError):
                os.write(board, json.dumps(report).encode() + b"\r\n")
            due = time.monotonic() + 1


if __name__ == "__main__":
    main()
