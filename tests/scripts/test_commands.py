"""What the pages tell people to type is there, is accepted, and prints what they say.

The arguments are the program and, after it, those of unittest.
"""

from __future__ import annotations

import glob
import json
import os
import plistlib
import re
import shlex
import subprocess
import sys
import tempfile
import unittest
from collections.abc import Iterator
from dataclasses import dataclass

TREE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))
PROGRAM = os.path.abspath(sys.argv.pop(1))
BUILD = os.path.dirname(os.path.dirname(PROGRAM))
TOOLS = f"{BUILD}/libexec/kelvane-uninstaller/tools"
PAGES = ("README.md", "CONTRIBUTING.md", "docs/administrators.md", "docs/tools.md",
         "docs/attributes.md", "docs/launchctl.md", "docs/security.md", "docs/utility-layer.md")
LINKED = (*PAGES, "CHANGELOG.md", "docs/architecture.md", "docs/porting.md", "docs/translations.md")
# The stand-ins, by the names under which docs/tools.md and docs/launchctl.md speak of them.
STAND_INS = {"ditto": "usr/bin/ditto", "xattr": "usr/bin/xattr", "diskutil": "usr/sbin/diskutil",
             "chown": "usr/sbin/chown", "launchctl": "bin/launchctl"}
FENCE = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
CODE = re.compile(r"`([^`\n]+)`")
LINK = re.compile(r"\]\(([^)\s]+)\)")
OPTION = re.compile(r"--[a-z][a-z-]*")


@dataclass(frozen=True)
class Block:
    """A block of a page that is shown as it is."""

    page: str
    language: str
    text: str

    @property
    def is_dialogue(self) -> bool:
        return self.text.startswith("$ ")


def text_of(path: str) -> str:
    with open(f"{TREE}/{path}", encoding="utf-8") as file:
        return file.read()


def blocks(page: str) -> list[Block]:
    return [Block(page, *found) for found in FENCE.findall(text_of(page))]


def block_after(page: str, heading: str) -> Block:
    """The first block below a heading."""
    return Block(page, *next(FENCE.finditer(text_of(page).split(f"\n{heading}\n", 1)[1])).groups())


def shown_lines(page: str) -> Iterator[str]:
    """The lines of the blocks that show no output, continued ones as one, and the code in the
    running text."""
    for block in blocks(page):
        if not block.is_dialogue and block.language == "":
            yield from block.text.replace("\\\n", " ").splitlines()
    yield from CODE.findall(FENCE.sub("", text_of(page)))


def command_lines() -> Iterator[tuple[str, list[str]]]:
    """What is typed, in words, with the page that says so."""
    for page in PAGES:
        for line in shown_lines(page):
            for command in re.split(r" && ", line):
                try:
                    words = shlex.split(command, comments=True)
                except ValueError:  # a text with an apostrophe
                    continue
                # Brackets are the pages' own, about what may be left out.
                words = [word.strip("[]") for word in words]
                if words and re.match(r"(\./\w|scripts/|tests/|build/|cmake$|ctest$|gio$|"
                                      r"kelvane-uninstaller$|verified-copy$|ansible-playbook$)", words[0]):
                    yield page, words


def test_programs() -> dict[str, str]:
    """The programs of unit tests, with the folder that each is in."""
    lists = glob.glob(f"{TREE}/tests/**/CMakeLists.txt", recursive=True)
    return {name: os.path.relpath(os.path.dirname(file), TREE) for file in lists
            for name in re.findall(r"^qf_test\((\w+)", text_of(os.path.relpath(file, TREE)),
                                   re.MULTILINE)}


def said(*command: str, folder: str = TREE) -> str:
    """All that a command says, whatever its status."""
    return subprocess.run(command, cwd=folder, text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL).stdout


def options_in(text: str) -> set[str]:
    return set(OPTION.findall(text))


class Links(unittest.TestCase):
    def test_what_is_linked_to_is_there(self) -> None:
        for page in LINKED:
            for target in LINK.findall(FENCE.sub("", text_of(page))):
                with self.subTest(page=page, target=target):
                    self.assertNotRegex(target, "^[a-z]+:")
                    path = os.path.join(TREE, os.path.dirname(page), target.split("#")[0])
                    self.assertTrue(os.path.exists(path))

    def test_pictures_are_pictures_and_are_shown(self) -> None:
        folder = f"{TREE}/docs/pictures"
        shown = {os.path.normpath(os.path.join(os.path.dirname(page), target)) for page in LINKED
                 for target in LINK.findall(text_of(page)) if "pictures/" in target}
        self.assertEqual({f"docs/pictures/{name}" for name in os.listdir(folder)}, shown)
        for picture in shown:
            with open(f"{TREE}/{picture}", "rb") as file:
                self.assertEqual(b"\x89PNG\r\n\x1a\n", file.read(8))

    def test_folders_of_the_layout_are_there_and_none_is_missing(self) -> None:
        layout = text_of("README.md").split("## Layout")[1].split("## Licence")[0]
        named = set(re.findall(r"`([a-z/-]+)/`", layout))
        for folder in named:
            self.assertTrue(os.path.isdir(f"{TREE}/{folder}"), folder)
        folders = {name for name in os.listdir(TREE) if os.path.isdir(f"{TREE}/{name}")
                   and not name.startswith(".") and name != "build"}
        self.assertEqual(set(), folders - named)

    def test_no_document_is_left_out_of_the_readme(self) -> None:
        pages = {f"docs/{name}" for name in os.listdir(f"{TREE}/docs") if name.endswith(".md")}
        self.assertEqual(set(), pages - set(LINK.findall(text_of("README.md"))))


class Commands(unittest.TestCase):
    def commands(self, *names: str) -> list[tuple[str, list[str]]]:
        """The command lines that begin with one of the names; a page has one at least."""
        found = [(page, words) for page, words in command_lines() if words[0] in names]
        self.assertTrue(found, names)
        return found

    def assert_options(self, page: str, words: list[str], help_text: str) -> None:
        used = {option for word in words[1:] for option in options_in(word)}
        with self.subTest(page=page, words=words):
            self.assertEqual(set(), used - options_in(help_text))

    def test_files_that_are_called_are_there(self) -> None:
        for page, words in command_lines():
            for word in words:
                if re.match(r"\./|(scripts|tests|docs)/", word):
                    with self.subTest(page=page, words=words):
                        self.assertTrue(os.path.exists(f"{TREE}/{word}"))
            if words[0].startswith("./"):
                self.assertTrue(os.access(f"{TREE}/{words[0]}", os.X_OK), words)

    def test_every_command_is_one_that_is_checked(self) -> None:
        checked = {words[0] for _, words in command_lines()} | {"jq"}
        for page in ("README.md", "CONTRIBUTING.md", "docs/administrators.md"):
            for block in blocks(page):
                for line in block.text.replace("\\\n", " ").splitlines():
                    if not block.language and not block.is_dialogue:
                        self.assertIn(line.split()[0], checked, page)

    def test_run_test_and_bench_know_their_options(self) -> None:
        for name in ("./run", "./test", "./bench"):
            help_text = said(name, "--help")
            self.assertIn(f"usage: {name}", help_text)
            for page, words in self.commands(name):
                self.assert_options(page, words, help_text)

    def test_the_readme_has_every_option_of_run_and_test(self) -> None:
        readme = text_of("README.md")
        rows = re.findall(r"^\| `(--.*?)` \|", readme, re.MULTILINE)
        self.assertEqual(options_in(said("./run", "--help")) - {"--help"},
                         options_in(" ".join(rows)))
        self.assertEqual(set(), options_in(said("./test", "--help")) - options_in(readme))

    def test_bench_knows_its_benchmarks(self) -> None:
        named = set(re.findall(r"^  (\w+)  ", said("./bench", "--help"), re.MULTILINE))
        built = set(re.findall(r"OUTPUT_NAME (\w+)\)", text_of("benchmarks/CMakeLists.txt")))
        self.assertEqual({*built, "start", "uninstall", "putback", "plan", "auth"}, named)
        accepted = re.search(r"^benchmarks=\((.*)\)$", text_of("bench"), re.MULTILINE)
        self.assertEqual(named, set(accepted[1].split()))
        used = {word for _, words in self.commands("./bench") for word in words[1:]}
        self.assertEqual(named, used - {"NAME..."})

    def test_scripts_know_their_options(self) -> None:
        for page, words in self.commands("tests/e2e/throwaway-copy"):
            own = words[:words.index("--")] if "--" in words else words
            self.assert_options(page, own, said("tests/e2e/throwaway-copy", "--help"))

    def test_presets_and_targets_are_there(self) -> None:
        presets = json.loads(text_of("CMakePresets.json"))
        targets = {line.split(":")[0]
                   for line in said("cmake", "--build", BUILD, "--target", "help").splitlines()}
        for page, words in self.commands("cmake", "ctest"):
            kind = "testPresets" if words[0] == "ctest" else (
                "buildPresets" if "--build" in words else "configurePresets")
            known = {preset["name"] for preset in presets[kind]}
            for option, argument in zip(words, words[1:]):
                with self.subTest(page=page, words=words):
                    if option == "--preset":
                        self.assertIn(argument, known)
                    elif option == "--target":
                        self.assertIn(argument, targets)
                    elif option == "-R":
                        self.assertIn(argument, test_programs())

    def test_programs_that_are_built_are_there(self) -> None:
        for page, words in command_lines():
            if found := re.match(r"build/dev/(.*/(\w+))$", words[0]):
                with self.subTest(page=page, words=words):
                    self.assertEqual(os.path.dirname(found[1]), test_programs().get(found[2]))

    def test_programs_know_their_options(self) -> None:
        for name, program in (("kelvane-uninstaller", PROGRAM),
                              ("verified-copy", f"{BUILD}/examples/verified-copy/verified-copy")):
            help_text = said(program, "--help")
            for page, words in self.commands(name):
                self.assert_options(page, words, help_text)

    def test_the_trash_knows_its_options(self) -> None:
        for page, words in self.commands("gio"):
            self.assertEqual("trash", words[1])
            self.assert_options(page, words, said("gio", "help", "trash"))

    def test_statuses_are_those_of_the_help(self) -> None:
        section = text_of("docs/administrators.md").split("## Exit statuses")[1].split("\n## ")[0]
        in_page = re.findall(r"^\| (\d) \| (.*) \|$", section, re.MULTILINE)
        in_help = re.findall(r"^  (\d)  (.*)$", said(PROGRAM, "--help"), re.MULTILINE)
        self.assertEqual(in_help, in_page)
        self.assertTrue(in_help)

    def test_the_playbook_is_accepted_as_it_is_called(self) -> None:
        _, words = self.commands("ansible-playbook")[0]
        with tempfile.TemporaryDirectory() as folder:
            os.symlink(f"{TREE}/docs", f"{folder}/docs")
            with open(f"{folder}/hosts", "w", encoding="utf-8") as hosts:
                hosts.write("studio-7\n")
            done = subprocess.run([*words, "--syntax-check"], cwd=folder, capture_output=True,
                                  text=True, env={**os.environ, "ANSIBLE_HOME": folder,
                                                  "LC_ALL": "C.UTF-8"})
        self.assertEqual((0, "\nplaybook: docs/fleet/remove-kelvane.yml\n"),
                         (done.returncode, done.stdout), done.stderr)


class Lists(unittest.TestCase):
    """The documents that the program writes, beside those of docs/administrators.md."""

    page = "docs/administrators.md"

    def example(self) -> dict[str, object]:
        return json.loads(next(block.text for block in blocks(self.page)
                               if block.language == "json"))

    def listed(self) -> dict[str, object]:
        with tempfile.TemporaryDirectory() as home:
            os.makedirs(f"{home}/Library/Caches/com.quillfen.Ospenth")
            done = subprocess.run([PROGRAM, "--list", "--json"], capture_output=True, text=True,
                                  check=True, env={**os.environ, "HOME": home})
        return json.loads(done.stdout)

    def test_has_the_keys_of_the_example(self) -> None:
        example, listed = self.example(), self.listed()
        self.assertEqual(list(example), list(listed))
        self.assertEqual((example["version"], example["program"]),
                         (listed["version"], listed["program"]))
        (shown,) = example["rows"]
        (row,) = [row for row in listed["rows"] if row["path" if "path" in row else "subject"]
                  .endswith("/Library/Caches/com.quillfen.Ospenth")]
        self.assertEqual((list(shown), shown["action"], shown["state"]),
                         (list(row), row["action"], row["state"]))

    def test_every_key_and_action_is_explained(self) -> None:
        rows = self.listed()["rows"]
        explained = set(re.findall(r"^\| `(\w+)` \|", text_of(self.page), re.MULTILINE))
        self.assertEqual(set(), {key for row in rows for key in row} - explained)
        actions = re.search(r"^\| `action` \| (.*) \|$", text_of(self.page), re.MULTILINE)
        self.assertEqual({row["action"] for row in rows} - set(CODE.findall(actions[1])), set())

    def test_jq_finds_what_was_left(self) -> None:
        commands = [shlex.split(block.text.replace("\\\n", " ")) for block in blocks(self.page)
                    if block.text.startswith("jq ")]
        rows = [{"path": "/a", "outcome": "moved"},
                {"path": "/b", "outcome": "left", "reason": "it is in use"}]
        reports = {"report.json": {"rows": rows},
                   "all.json": {"accounts": [{"user": "anna", "rows": rows}]}}
        with tempfile.TemporaryDirectory() as folder:
            for name, content in reports.items():
                with open(f"{folder}/{name}", "w", encoding="utf-8") as report:
                    json.dump(content, report)
            self.assertEqual({"report.json": "/b: it is in use\n", "all.json": "anna: /b\n"},
                             {words[-1]: said(*words, folder=folder) for words in commands})


class StandIns(unittest.TestCase):
    def synopses(self) -> Iterator[tuple[str, str]]:
        """Each stand-in with each of the lines that say how it is called."""
        for name in STAND_INS:
            block = block_after("docs/tools.md", f"## {name}") if name != "launchctl" else \
                blocks("docs/launchctl.md")[0]
            for line in block.text.splitlines():
                if line.startswith(f"{name} "):
                    yield name, re.split(r" {2,}", line)[0]

    def test_are_in_their_places(self) -> None:
        table = dict(re.findall(r"^\| `/(\S+)` \| (.*) \|$", text_of("docs/tools.md"),
                                re.MULTILINE))
        self.assertEqual(set(STAND_INS.values()), set(table))
        for path in table:
            self.assertTrue(os.access(f"{TOOLS}/{path}", os.X_OK), path)

    def test_are_called_as_they_say_themselves(self) -> None:
        for name, line in self.synopses():
            with self.subTest(line=line):
                done = subprocess.run([f"{TOOLS}/{STAND_INS[name]}"], capture_output=True,
                                      text=True)
                self.assertEqual((2, ""), (done.returncode, done.stdout))
                self.assertIn(f"usage: {name} ", done.stderr)
                known = set(re.findall(r"[\w.:-]+", done.stderr))
                self.assertEqual(set(), set(re.findall(r"[\w.:-]+", line)) - known)

    def test_every_way_to_call_them_is_shown(self) -> None:
        shown = {name: 0 for name in STAND_INS}
        for name, _ in self.synopses():
            shown[name] += 1
        self.assertEqual({"ditto": 3, "xattr": 5, "diskutil": 1, "chown": 2, "launchctl": 4}, shown)

    def test_diskutil_prints_no_key_that_is_not_explained(self) -> None:
        done = subprocess.run([f"{TOOLS}/usr/sbin/diskutil", "info", "-plist", "/"],
                              capture_output=True)
        if done.returncode == 1:
            self.skipTest(f"“/” is no volume of this machine: {done.stderr.decode()}")
        self.assertEqual(0, done.returncode)
        section = text_of("docs/tools.md").split("## diskutil")[1].split("\n## ")[0]
        keys = {key for row in re.findall(r"^\| (`.*?) \|", section, re.MULTILINE)
                for key in CODE.findall(row)}
        printed = plistlib.loads(done.stdout)
        self.assertEqual("/", printed["MountPoint"])
        self.assertEqual(set(), set(printed) - keys)

    def test_chown_leaves_a_link_alone(self) -> None:
        with tempfile.TemporaryDirectory() as folder:
            os.symlink("nowhere", f"{folder}/link")
            done = subprocess.run([f"{TOOLS}/usr/sbin/chown", f"{os.getuid()}:{os.getgid()}",
                                   f"{folder}/link"], capture_output=True, text=True)
        self.assertEqual(1, done.returncode)
        self.assertEqual(1, done.stderr.count("\n"))


class Dialogues(unittest.TestCase):
    """The blocks that show what is typed, after "$ ", and below it what that prints."""

    def talk(self, page: str) -> int:
        """Follows each of a page's dialogues in an empty folder; returns how many there are."""
        dialogues = [block for block in blocks(page) if block.is_dialogue]
        folders = {os.path.dirname(f"{TOOLS}/{path}") for path in STAND_INS.values()}
        variables = {**os.environ, "LC_ALL": "C.UTF-8",
                     "PATH": ":".join([*folders, os.environ["PATH"]])}
        for dialogue in dialogues:
            lines = dialogue.text.splitlines()
            typed = [line[2:] for line in lines if line.startswith("$ ")]
            # Beside the program: volumes of memory may have no attributes.
            with self.subTest(page=page, typed=typed), \
                    tempfile.TemporaryDirectory(dir=BUILD) as folder:
                done = subprocess.run(["bash", "-c", "\n".join(typed)], cwd=folder, text=True,
                                      env=variables, stdout=subprocess.PIPE,
                                      stderr=subprocess.STDOUT)
                # getfattr ends with an empty line.
                self.assertEqual([line for line in lines if not line.startswith("$ ")],
                                 [line for line in done.stdout.splitlines() if line])
        return len(dialogues)

    def setUp(self) -> None:
        with tempfile.NamedTemporaryFile(dir=BUILD) as file:
            try:
                os.setxattr(file.name, "user.qf.trial", b"1")
            except OSError as error:
                self.skipTest(f"the build folder's volume has no extended attributes: {error}")

    def test_tools_print_what_the_page_says(self) -> None:
        self.assertEqual(2, self.talk("docs/tools.md"))

    def test_attributes_look_as_the_page_says(self) -> None:
        self.assertEqual(1, self.talk("docs/attributes.md"))


if __name__ == "__main__":
    unittest.main()
