"""Child processes that end with this one, even when it is killed."""

import pathlib
import subprocess


class JourneyError(Exception):
    """A step failed; the text is the reason."""


def say(step, text):
    print(f"{step:<12} {text}", flush=True)


def memory(pid):
    """Private and resident memory in MB."""
    sizes = {}
    for line in pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines()[1:]:
        name, size = line.split()[:2]
        sizes[name] = int(size) / 1024
    return sizes["Private_Clean:"] + sizes["Private_Dirty:"], sizes["Rss:"]


class Program:
    """A child process; its errors, and its output unless `output` is given, go to a file."""

    def __init__(self, name, command, log, environment=None, output=None):
        self.name = name
        self.log = pathlib.Path(log)
        with open(log, "ab") as log_file:
            # The kernel ends the child when this process is killed.
            self.process = subprocess.Popen(
                ["setpriv", "--pdeathsig", "TERM", "--", *map(str, command)], env=environment,
                stdin=subprocess.DEVNULL, stdout=output or log_file, stderr=log_file,
                start_new_session=True)  # Ctrl+C reaches only this process, which ends the others

    @property
    def running(self):
        return self.process.poll() is None

    def first_line(self):
        """The line by which a program, started with `output=PIPE`, says that it is ready."""
        line = self.process.stdout.readline().decode().strip()
        if not line:
            raise JourneyError(f"{self.name} did not start\n{self.tail()}")
        return line

    def tail(self, count=15):
        return "\n".join(self.log.read_text(errors="replace").splitlines()[-count:])

    def wait(self, seconds=None):
        """Returns the exit status."""
        try:
            return self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            raise JourneyError(f"{self.name} did not end within {seconds} s") from None

    def stop(self):
        """Terminates the program, or kills it after ten seconds; returns the exit status."""
        self.process.terminate()
        try:
            return self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            return self.process.wait()
