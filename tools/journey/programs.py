"""Child processes that end when this one does, however it ends."""

import pathlib
import subprocess


class JourneyError(Exception):
    """A step that did not work; the text is the reason."""


def say(step, text):
    print(f"{step:<12} {text}", flush=True)


class Program:
    """A child process whose errors, and output unless it is wanted, go to a file."""

    def __init__(self, name, command, log, environment=None, output=None):
        self.name = name
        self.log = pathlib.Path(log)
        with open(log, "ab") as log_file:
            # The kernel ends the child if this process is killed outright.
            self.process = subprocess.Popen(
                ["setpriv", "--pdeathsig", "TERM", "--", *map(str, command)], env=environment,
                stdin=subprocess.DEVNULL, stdout=output or log_file, stderr=log_file,
                start_new_session=True)  # Ctrl+C is for this process, which ends them in order

    @property
    def running(self):
        return self.process.poll() is None

    def first_line(self):
        """What a program started with `output=PIPE` says when it is ready."""
        line = self.process.stdout.readline().decode().strip()
        if not line:
            raise JourneyError(f"{self.name} did not start\n{self.tail()}")
        return line

    def tail(self, count=15):
        return "\n".join(self.log.read_text(errors="replace").splitlines()[-count:])

    def wait(self, seconds=None):
        """The exit status; without a limit, until the user ends it."""
        try:
            return self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            raise JourneyError(f"{self.name} did not end within {seconds} s") from None

    def stop(self):
        """Orderly if possible; the exit status."""
        self.process.terminate()
        try:
            return self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            return self.process.wait()
