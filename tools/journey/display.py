"""A virtual display with what a desktop program expects: window manager, tray, message buses."""

import shutil
import subprocess
import time

from programs import JourneyError, Program

SIZE = "1024x768"
# The only desktop service that the bus may start.
BUS_SERVICE = "/usr/share/dbus-1/services/org.a11y.Bus.service"
BUS_CONFIG = """<busconfig>
  <type>session</type>
  <listen>unix:dir={folder}</listen>
  <auth>EXTERNAL</auth>
  <servicedir>{folder}/services</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""


def start_display(logs, sockets, environment, programs, tray=True):
    """Adds the programs that it starts to `programs`, and their addresses to `environment`.

    `sockets` is an empty folder with a short path: the path of a socket has at most 107 bytes.
    """
    def start(name, *command, output=None):
        programs.append(Program(name, command, logs / f"{name}.log", environment, output))
        return programs[-1]

    server = start("xvfb", "Xvfb", "-displayfd", 1, "-screen", 0, f"{SIZE}x24", "-nolisten", "tcp",
                   "-noreset", output=subprocess.PIPE)
    environment["DISPLAY"] = ":" + server.first_line()

    services = sockets / "services"
    services.mkdir()
    shutil.copy(BUS_SERVICE, services)
    config = sockets / "bus.conf"
    config.write_text(BUS_CONFIG.format(folder=sockets), encoding="ascii")
    bus = start("bus", "dbus-daemon", "--nofork", "--print-address", f"--config-file={config}",
                output=subprocess.PIPE)
    environment["DBUS_SESSION_BUS_ADDRESS"] = bus.first_line()

    start("manager", "openbox")
    if not tray:
        return
    # Of a fixed width, for one icon: Wine clips its icon to the width that it finds first.
    start("tray", "trayer", "--edge", "bottom", "--align", "right", "--widthtype", "pixel",
          "--width", 24, "--height", 28, "--SetPartialStrut", "true")
    deadline = time.monotonic() + 20
    while subprocess.run(["xdotool", "search", "--class", "trayer"], env=environment,
                         capture_output=True, check=False).returncode:
        if time.monotonic() > deadline or not all(program.running for program in programs):
            raise JourneyError("no desktop on the virtual display\n" +
                               "\n".join(program.tail(5) for program in programs))
        time.sleep(0.05)
