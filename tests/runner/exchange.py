"""Exchanges backups between the gateway of this system and that for Windows, under Wine.

Each side writes one that the other restores, reads and writes again for a third profile.
"""

import contextlib
import pathlib
import subprocess
import sys
import tempfile

sys.path.append(str(pathlib.Path(__file__).parents[2] / "tools" / "wine"))
import wine

template, libraries, native_program, windows_program, *credentials = sys.argv[1:]

with contextlib.ExitStack() as stack:
    work = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory()))

    def native():
        home = tempfile.mkdtemp(dir=work)
        return [native_program], {"HOME": home, "LC_ALL": "C.UTF-8"}, str

    def windows():
        prefix = stack.enter_context(wine.profile(template))
        environment = wine.environment(prefix, libraries.split(":"))
        environment["WINEQT_FORCE_STDERR_LOGGING"] = "1"
        return ["wine", windows_program], environment, wine.windows_path

    def run(side, step, *paths):
        command, environment, path_of = side
        subprocess.run([*command, step, *map(path_of, paths)], env=environment, check=True,
                       stdin=subprocess.DEVNULL)

    for sides in ((native(), windows(), native()), (windows(), native(), windows())):
        run(sides[0], "fill", *credentials)
        for giver, taker in zip(sides, sides[1:]):
            run(giver, "export", work / "é.bak")
            run(taker, "import", work / "é.bak")
            run(taker, "check", *credentials)
            (work / "é.bak").unlink()
