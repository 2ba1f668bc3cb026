"""The man page and the completion say what the program's --help says, and all that tells of the
release tells of the same one.

The arguments are the program and, after it, those of unittest.
"""

from __future__ import annotations

import os
import re
import shutil
import struct
import subprocess
import sys
import unittest
import xml.etree.ElementTree
from email.utils import parsedate_to_datetime

TREE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))
MAN_PAGE = f"{TREE}/packaging/man/kelvane-uninstaller.1"
COMPLETION = f"{TREE}/packaging/bash-completion/kelvane-uninstaller"
PROGRAM = sys.argv.pop(1)


def text_of(path: str) -> str:
    with open(f"{TREE}/{path}", encoding="utf-8") as file:
        return file.read()


def printed(*command: str, **variables: str) -> str:
    done = subprocess.run(command, capture_output=True, text=True, check=True,
                          env={**os.environ, **variables})
    return done.stdout


def help_text() -> str:
    return printed(PROGRAM, "--help")


def options() -> list[str]:
    return re.findall(r"^  (--[a-z-]+)", help_text(), re.MULTILINE)


def page() -> str:
    return printed("man", "--warnings", "--encoding=ascii", "--local-file", MAN_PAGE,
                   MANWIDTH="200", LC_ALL="C.UTF-8")


def section(title: str) -> str:
    """A section of the formatted page."""
    found = re.search(rf"^{title}$(.*?)(?=^[A-Z])", page(), re.MULTILINE | re.DOTALL)
    assert found is not None
    return found.group(1)


class Documents(unittest.TestCase):
    def test_help_has_options(self) -> None:
        self.assertEqual(16, len(options()))

    def test_man_page_has_no_mistake(self) -> None:
        done = subprocess.run(["man", "--warnings=w", "--encoding=utf8", "--local-file",
                               "--pager=cat", MAN_PAGE], capture_output=True, text=True,
                              env={**os.environ, "LC_ALL": "C.UTF-8", "MANWIDTH": "80"})
        self.assertEqual((0, ""), (done.returncode, done.stderr))
        self.assertGreater(len(done.stdout), 1000)

    def test_man_page_explains_every_option_in_the_same_order(self) -> None:
        # By 5 columns, or by 7 since groff 1.23; an option that a sentence names is further in.
        explained = re.findall(r"^ {5,7}(--[a-z-]+)", section("DESCRIPTION"), re.MULTILINE)
        self.assertEqual(options(), explained)

    def test_man_page_shows_how_every_option_is_used(self) -> None:
        self.assertEqual(set(options()), set(re.findall(r"--[a-z-]+", section("SYNOPSIS"))))

    def test_man_page_explains_every_exit_status_in_the_same_words(self) -> None:
        pattern = r"^ +(\d)  +(.*?\.)$"
        said = re.findall(pattern, help_text().partition("Exit status:")[2], re.MULTILINE)
        self.assertEqual(6, len(said))
        self.assertEqual(said, re.findall(pattern, section("EXIT STATUS"), re.MULTILINE))

    def test_examples_use_options_that_there_are(self) -> None:
        used = re.findall(r"--[a-z-]+", section("EXAMPLES"))
        self.assertEqual(set(), set(used) - set(options()))
        self.assertTrue(used)


class Release(unittest.TestCase):
    def test_has_one_version_and_one_date(self) -> None:
        version = re.search(r"^project\(\w+\s+VERSION (\S+)", text_of("CMakeLists.txt"), re.MULTILINE)
        newest = re.search(r"^## (\S+) \((\S+)\)$", text_of("CHANGELOG.md"), re.MULTILINE)
        # Later packages of a release have later dates.
        package = re.search(r"^\S+ \((\S+)-1\).*?\n -- [^>]*>  ([^\n]*)$",
                            text_of("debian/changelog"), re.MULTILINE | re.DOTALL)
        shown = re.search(r'<release version="(\S+)" date="(\S+)"/>',
                          text_of("packaging/com.quillfen.kelvaneuninstaller.metainfo.xml"))
        self.assertEqual((version[1], newest[2]), newest.groups())
        self.assertEqual(newest.groups(), shown.groups())
        self.assertEqual(newest.groups(),
                         (package[1], str(parsedate_to_datetime(package[2]).date())))

    def test_is_what_the_newest_package_is_made_of(self) -> None:
        version = re.search(r"^project\(\w+\s+VERSION (\S+)", text_of("CMakeLists.txt"), re.MULTILINE)
        self.assertRegex(text_of("debian/changelog"),
                         rf"\Akelvane-uninstaller \({re.escape(version[1])}-\d+\) unstable; ")


class Description(unittest.TestCase):
    """What the desktop tells of the program."""

    METAINFO = "packaging/com.quillfen.kelvaneuninstaller.metainfo.xml"
    POLICIES = ("packaging/com.quillfen.KelvaneUninstaller.policy.in",
                "packaging/library/com.quillfen.QFUtil.policy.in")
    SHOWN = {"name", "summary", "p", "caption", "description", "message"}
    LANGUAGE = "{http://www.w3.org/XML/1998/namespace}lang"

    def test_shows_a_picture_of_this_repository(self) -> None:
        homepage = re.search(r'<url type="homepage">(.*)</url>', text_of(self.METAINFO))[1]
        shown = re.findall(r'width="(\d+)" height="(\d+)">(.*)</image>', text_of(self.METAINFO))
        self.assertTrue(shown)
        for width, height, address in shown:
            self.assertTrue(address.startswith(homepage), address)
            picture = address.removeprefix(homepage).partition("/")[2]
            with open(f"{TREE}/{picture}", "rb") as file:
                self.assertEqual((int(width), int(height)), struct.unpack(">II", file.read(24)[16:]))

    @unittest.skipUnless(shutil.which("appstreamcli"), "appstreamcli is not installed")
    def test_is_valid(self) -> None:
        self.assertNotRegex(
            printed("appstreamcli", "validate", "--no-net", "--pedantic", f"{TREE}/{self.METAINFO}"),
            "(?m)^[EWIP]: ")

    def test_is_in_german_too(self) -> None:
        for path in (self.METAINFO, *self.POLICIES):
            for parent in xml.etree.ElementTree.fromstring(text_of(path).encode()).iter():
                texts = [child for child in parent if child.tag in self.SHOWN and len(child) == 0]
                english = [text for text in texts if self.LANGUAGE not in text.attrib]
                self.assertEqual(len(texts), 2 * len(english), f"{path}: {parent.tag}")
        entry = text_of("packaging/kelvane-uninstaller.desktop")
        for key in ("Name", "GenericName", "Comment", "Keywords"):
            self.assertEqual(len(re.findall(rf"(?m)^{key}=", entry)),
                             len(re.findall(rf"(?m)^{key}\[de\]=", entry)), key)


class Completion(unittest.TestCase):
    def complete(self, *words: str) -> list[str]:
        script = ('source "$1"; shift; compopt() { :; }; COMP_WORDS=("$@"); '
                  'COMP_CWORD=$(($# - 1)); _kelvane_uninstaller; printf "%s\\n" "${COMPREPLY[@]}"')
        return printed("bash", "-c", script, "bash", COMPLETION, *words).split()

    def test_offers_every_option(self) -> None:
        self.assertEqual(options(), self.complete("kelvane-uninstaller", ""))

    def test_offers_what_begins_alike(self) -> None:
        self.assertEqual(["--remove-shared", "--report"],
                         self.complete("kelvane-uninstaller", "--list", "--re"))

    def test_offers_files_for_the_report(self) -> None:
        self.assertIn("/etc/passwd", self.complete("kelvane-uninstaller", "--report", "/etc/passw"))

    def test_offers_files_behind_the_sign_too(self) -> None:
        report = ("kelvane-uninstaller", "--report", "=")
        self.assertIn("/etc/passwd", self.complete(*report, "/etc/passw"))
        self.assertNotIn("--help", self.complete(*report))

    def test_is_there_for_the_program(self) -> None:
        self.assertEqual("complete -F _kelvane_uninstaller kelvane-uninstaller\n",
                         printed("bash", "-c", 'source "$1"; complete -p kelvane-uninstaller',
                                 "bash", COMPLETION))


if __name__ == "__main__":
    unittest.main()
