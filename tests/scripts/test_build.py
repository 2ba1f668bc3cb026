"""What is seen of a build, and of the installation of packages."""

from __future__ import annotations

import contextlib
import os
import pty
import shutil
import subprocess
import tempfile
import unittest

TREE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))
BUILD_LINES = "[  0%] Looking\n[ 9%] Building a\n[ 12%] Building b\n[100%] Linking c\n"


def all_from_terminal(primary: int) -> str:
    """What was written to a terminal that nobody has open any more."""
    shown = b""
    with contextlib.suppress(OSError):  # which is the end
        while True:
            shown += os.read(primary, 1000)
    os.close(primary)
    return shown.decode()


class InACopyOfTheScripts(unittest.TestCase):
    """The scripts in a folder with an awkward name, with other programs in the place of those that
    they call."""

    def setUp(self) -> None:
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.tree = f"{temporary.name}/a clone é"
        self.programs = f"{self.tree}/programs"
        shutil.copytree(f"{TREE}/scripts", f"{self.tree}/scripts")
        shutil.copy(f"{TREE}/CMakePresets.json", self.tree)
        os.mkdir(self.programs)

    def replace(self, program: str, script: str) -> None:
        path = f"{self.programs}/{program}"
        with open(path, "w", encoding="utf-8") as file:
            file.write(f"#!/bin/sh\n{script}\n")
        os.chmod(path, 0o755)

    def run_script(self, *words: str, errors: int = subprocess.PIPE) -> tuple[int, str]:
        """The status, and what was written to the standard error if that is a pipe."""
        path = f"{self.programs}:/usr/bin:/bin"
        done = subprocess.run([f"{self.tree}/scripts/{words[0]}", *words[1:]], text=True,
                              stdout=subprocess.PIPE, stderr=errors, env={"PATH": path})
        self.assertFalse(done.stdout)
        return done.returncode, done.stderr

    def content(self, path: str) -> str:
        with open(f"{self.tree}/{path}", encoding="utf-8") as file:
            return file.read()


class Build(InACopyOfTheScripts):
    def prepare(self, *, status: int = 0, lines: str = BUILD_LINES, is_first: bool = False) -> None:
        with open(f"{self.tree}/lines", "w", encoding="utf-8") as file:
            file.write(lines)
        if not is_first:
            os.makedirs(f"{self.tree}/build/dev")
            with open(f"{self.tree}/build/dev/build.ninja", "xb"):
                pass
        self.replace("cmake", 'echo "$@" >> calls\n'
                     'case "$*" in *--preset*--fresh) echo configuring; exit;; esac\n'
                     f"cat lines; exit {status}")

    def test_says_how_far_it_has_come_in_a_line_for_each_tenth(self) -> None:
        self.prepare()
        self.assertEqual((0, "Building: 9 %\nBuilding: 12 %\nBuilding: 100 %\n"),
                         self.run_script("build", "dev"))

    def test_rewrites_one_line_on_a_terminal(self) -> None:
        self.prepare()
        primary, secondary = pty.openpty()
        self.assertEqual((0, None), self.run_script("build", "dev", errors=secondary))
        os.close(secondary)
        self.assertEqual("\rBuilding: 9 %\rBuilding: 12 %\rBuilding: 100 %\r\x1b[K",
                         all_from_terminal(primary))

    def test_is_silent_when_there_is_nothing_to_do(self) -> None:
        self.prepare(lines="[  0%] Looking\nninja: no work to do.\n")
        self.assertEqual((0, ""), self.run_script("build", "dev"))

    def test_shows_the_whole_message_of_a_failure_without_what_went_well(self) -> None:
        message = "FAILED: b\nb.cpp:1: error\n    int x = ;\n"
        self.prepare(status=1, lines=f"[ 50%] Building a\n{message}")
        self.assertEqual((1, f"Building: 50 %\n{message}"), self.run_script("build", "dev"))

    def test_is_configured_at_first_and_builds_the_targets_wanted(self) -> None:
        self.prepare(is_first=True)
        status, said = self.run_script("build", "dev", "all", "agent")
        self.assertEqual(0, status)
        self.assertTrue(said.startswith("Building for the first time"), said)
        self.assertEqual("--preset dev --fresh\n--build --preset dev --target all agent\n",
                         self.content("calls"))
        self.assertEqual(BUILD_LINES, self.content("build/dev.log"))


class InstallPackages(InACopyOfTheScripts):
    def prepare(self, *, status: int) -> None:
        self.replace("dpkg-query", "true")
        self.replace("sudo", 'test "$1" != -n || shift; exec "$@"')
        self.replace("apt-get", 'echo "Get:1 $*"; echo "E: trouble" >&2; '
                     f'case "$*" in *install*) exit {status};; esac')

    def test_keeps_what_apt_prints_in_a_file(self) -> None:
        self.prepare(status=0)
        status, said = self.run_script("install-packages", "run")
        self.assertEqual((0, 1), (status, said.count("\n")), said)
        self.assertTrue(said.startswith("Installing "), said)
        self.assertIn("Get:1 -qq -o Dpkg::Use-Pty=0 install", self.content("build/apt.log"))

    def test_shows_what_apt_prints_when_it_fails(self) -> None:
        self.prepare(status=100)
        status, said = self.run_script("install-packages", "run")
        self.assertEqual(1, status)
        self.assertTrue(said.endswith(self.content("build/apt.log")), said)
        self.assertIn("E: trouble\n", said)


if __name__ == "__main__":
    unittest.main()
