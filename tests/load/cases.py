"""The cases: each puts a load on the product and yields what is not as it should be."""

from __future__ import annotations

import hashlib
import os
import re
import subprocess
from collections import Counter
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from urllib.parse import unquote_to_bytes

from endtoend import plan, snapshot
from endtoend.account import Account
from endtoend.check import MAY_APPEAR
from endtoend.manifest import installed_folders
from endtoend.screen import Screen, Window
from endtoend.suite import LOCAL_FOLDERS, MATCHING_RECEIPTS, USER_FOLDERS, SampleSuite, give
from endtoend.terminal import Terminal
from endtoend.undoing import CANCELLED, COMPLETE, FAILED, LEFT, Undoing, give_password
from endtoend.waiting import TooLate, wait_for
from watch import Use

HERE = os.path.dirname(os.path.realpath(__file__))
TREE = os.path.dirname(os.path.dirname(HERE))
BUILD = f"{TREE}/build/program"
PROGRAM = f"{BUILD}/app/kelvane-uninstaller"
# So long a load may take on a machine that is busy; it is only there to end what hangs.
PATIENCE = 7200.0


@dataclass(frozen=True)
class Case:
    """A load: how much of what there is, how it is put on, and the most that a process may use."""

    name: str
    count: int
    what: str
    perform: Callable[[int, Account], Iterator[str]]
    limit: Use


# Items and the Trash.


def digest(path: str) -> str:
    """Returns a digest of an item: of names, content and metadata of all that is in it."""
    total = hashlib.sha256()

    def add(each: str) -> None:
        entry = snapshot.entry_of(each)
        told = repr((each[len(path):], entry, os.lstat(each).st_mtime_ns))
        total.update(told.encode(errors="surrogateescape"))
        if entry.type == "folder":
            for name in sorted(os.listdir(each)):
                add(f"{each}/{name}")

    add(path)
    return total.hexdigest()


TRASHINFO = re.compile(rb"\[Trash Info\]\nPath=([^\n]+)\n"
                       rb"DeletionDate=\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\n(?s:.*)")


def trashed(trash: str) -> Iterator[tuple[str, str]]:
    """Returns where each item of the Trash came from, and its place. Yields no item without
    trashinfo."""
    for name in os.listdir(f"{trash}/info") if os.path.isdir(f"{trash}/info") else []:
        with open(f"{trash}/info/{name}", "rb") as file:
            found = TRASHINFO.fullmatch(file.read())
        path = os.fsdecode(unquote_to_bytes(found[1])) if found else f"a damaged trashinfo, {name}"
        yield path, f"{trash}/files/{name.removesuffix('.trashinfo')}"


class LargeSuite(Undoing):
    """The suite with very many files, a part of them on another volume, from which they are
    copied."""

    more_files = 0
    owner_is_user = False

    @property
    def caches(self) -> str:
        return f"{self.home}/Library/Caches"

    @property
    def trash(self) -> str:
        return f"{self.home}/.local/share/Trash"

    def install(self) -> None:
        os.makedirs(self.caches)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=755", "tmpfs", self.caches], check=True)
        SampleSuite("", self.home, cache_files=40, more_files=self.more_files).install()
        for folder in USER_FOLDERS:
            give(self.home + folder, self.account.uid, self.account.gid)
        for folder in LOCAL_FOLDERS:
            give(folder, *((self.account.uid, self.account.gid) if self.owner_is_user else (0, 0)))
        places = plan.places("", self.home, [*MATCHING_RECEIPTS])
        self.items = {place.path: digest(place.path) for place in places
                      if os.path.exists(place.path)}
        # Their content is in the record.
        self.jobs = {place.path for place in places if place.step in plan.DELETING_STEPS}
        self.before = self.rest()

    def rest(self) -> dict[str, snapshot.Entry]:
        """Returns all that is in the suite's folders and is no item of the plan."""
        found = {}
        for watched in installed_folders("", self.home):
            for folder, folders, files in os.walk(watched.folder):
                paths = [f"{folder}/{name}" for name in folders + files]
                found.update({path: snapshot.entry_of(path) for path in paths
                              if path not in self.items
                              and not MAY_APPEAR.fullmatch(path.removeprefix(self.home))})
                folders[:] = [name for name in folders
                              if f"{folder}/{name}" not in {*self.items, self.trash, TREE}]
        return found

    def check_rest(self) -> Iterator[str]:
        after = self.rest()
        for path in sorted(self.before.keys() | after.keys()):
            if self.before.get(path) != after.get(path):
                yield f"{path} was {self.before.get(path)} and is {after.get(path)}"

    def check_items(self, is_uninstalled: bool | None = None) -> Iterator[str]:
        """Each item is whole, and in one place: in its own, in the Trash, or in either."""
        places: dict[str, list[str]] = {}
        for path, place in trashed(self.trash):
            places.setdefault(path, []).append(place)
        files = f"{self.trash}/files"
        names = {f"{files}/{name}" for name in os.listdir(files)} if os.path.isdir(files) else set()
        strays = names ^ {place for each in places.values() for place in each}
        # A mark of when what was left behind was last looked for.
        yield from (f"the Trash has {place}, or its trashinfo, alone" for place in sorted(strays)
                    if "/.qf-mark-" not in place)
        yield from (f"{path} is in the Trash" for path in places.keys() - self.items.keys())
        for path, content in self.items.items():
            there = [path] if os.path.lexists(path) else []
            if is_uninstalled is not None and bool(there) == is_uninstalled:
                yield f"{path} is {'still there' if there else 'not there'}"
            found = there + places.get(path, [])
            if len(found) > 1 or not found and path not in self.jobs:
                yield f"{path} is at {found}"
            yield from (f"{path} is not whole at {place}" for place in found
                        if digest(place) != content)

    def tearDown(self) -> None:
        super().tearDown()
        subprocess.run(["umount", "--lazy", self.caches], check=True)


def ended(terminal: Terminal) -> int:
    """Waits for the end of a program that may say nothing for long."""
    def end() -> tuple[int] | None:
        try:
            return (terminal.end(),)
        except TooLate:
            return None
    return wait_for("the program's end", end, PATIENCE)[0]


def uninstall(count: int, _account: Account) -> Iterator[str]:
    """One uninstall of a suite with so many files, with the administrator's password."""
    suite = LargeSuite()
    suite.more_files = count
    suite.setUp()
    terminal = Terminal(suite.account, [PROGRAM, "--uninstall", "--remove-shared"])
    give_password(terminal)
    status = ended(terminal)
    if status != COMPLETE:
        yield f"it ended with status {status}: {terminal.text()}"
    yield from suite.check_items(is_uninstalled=True)
    yield from suite.check_rest()
    suite.tearDown()


FILES_OF_CROWD = 2000
LISTING = "one that lists"
CROWD = {"one uninstaller": ["--uninstall", "--remove-shared"],
         "another uninstaller": ["--uninstall", "--remove-shared"],
         "one that puts back": ["--put-back"],
         LISTING: ["--list", "--remove-shared"]}


def crowd(count: int, _account: Account) -> Iterator[str]:
    """So many times, four programs at work on one suite at the same time."""
    suite = LargeSuite()
    suite.more_files, suite.owner_is_user = FILES_OF_CROWD, True
    suite.setUp()
    winners: Counter[str] = Counter()
    names = list(CROWD)
    for number in range(count):
        first = number % len(names)  # so that each has a chance to win
        programs = {name: suite.account.start([PROGRAM, *CROWD[name]], stdin=subprocess.DEVNULL,
                                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
                    for name in names[first:] + names[:first]}
        done: list[str] = []
        for name, program in programs.items():
            said = program.communicate(timeout=PATIENCE)[0].decode(errors="replace")
            if program.returncode not in (COMPLETE, LEFT, FAILED, CANCELLED):
                yield f"round {number}: {name} ended with status {program.returncode}: {said}"
            if not re.search(r"[a-z]", said):
                yield f"round {number}: {name} said nothing, with status {program.returncode}"
            if program.returncode == COMPLETE:
                winners[name] += 1
                done.append(name)
        if LISTING not in done or len(done) < 2:
            yield f"round {number}: only {done} did what they were to do"
        yield from (f"round {number}: {problem}" for problem in suite.check_items())
        yield from (f"round {number}: {problem}" for problem in suite.check_rest())
    print(f"    of {count} rounds, done: {dict(winners)}")
    yield from check_both_ways(suite)
    suite.tearDown()


def check_both_ways(suite: LargeSuite) -> Iterator[str]:
    """All can be uninstalled, and put back, by one program alone."""
    for options, is_uninstalled in ((CROWD["one uninstaller"], True), (["--put-back"], False)):
        done = suite.account.run([PROGRAM, *options])
        if done.returncode != COMPLETE:
            yield f"{options} at the end: {done.returncode}, {done.stdout!r}, {done.stderr!r}"
        yield from suite.check_items(is_uninstalled)


# The log.

PROCESSES, LOG_THREADS = 16, 4
ENTRY = re.compile(rb"(\d+)-(\d+)-(\d+) (x*)\.")
DATE = re.compile(rb"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d [+-]\d{4} - ")
OTHER_ENTRIES = re.compile(rb"Log started: .+|Version: 1\.0|Path: .+|System: .+|"
                           rb"Running in 64-bit mode|Log truncated at 500KB")
LOGS_KEPT = 5
# Each process writes 500,000 bytes into a log before it starts a new one, and what is queued then.
LARGEST_LOG = PROCESSES * 600_000


def log(count: int, account: Account) -> Iterator[str]:
    """So many entries from sixteen processes, with four threads each, in one log."""
    kept = f"{account.home}/kept"
    os.mkdir(kept)
    os.chown(kept, account.uid, account.gid)
    each = count // PROCESSES // LOG_THREADS
    program = f"{BUILD}/load/log-load"
    processes = [account.start([program, str(number), str(LOG_THREADS), str(each), kept],
                               stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
                 for number in range(PROCESSES)]
    for process in processes:
        said = process.communicate(timeout=PATIENCE)[0]
        if (process.returncode, said) != (0, b""):
            yield f"a process ended with status {process.returncode} and said {said!r}"
    logs = f"{account.home}/Library/Logs/Quillfen"
    if sorted(os.listdir(logs)) != [f"load.{number}.log" for number in range(1, LOGS_KEPT + 1)]:
        yield f"the logs are {sorted(os.listdir(logs))}"
    seen = bytearray(PROCESSES * LOG_THREADS * each)
    for folder in (logs, kept):
        for name in os.listdir(folder):
            yield from check_log(f"{folder}/{name}", each, seen)
    if lost := seen.count(0):
        yield f"{lost} entries are lost"


def check_log(path: str, each: int, seen: bytearray) -> Iterator[str]:
    """Every entry of a log is whole, in its thread's order, and was not seen before."""
    if os.path.getsize(path) > LARGEST_LOG:
        yield f"{path} has {os.path.getsize(path)} bytes"
    last: dict[int, int] = {}
    with open(path, "rb") as lines:
        for line in lines:
            date = DATE.match(line)
            text = line[date.end():-1] if date and line.endswith(b"\n") else b""
            entry = ENTRY.fullmatch(text)
            if entry is None:
                if not OTHER_ENTRIES.fullmatch(text):
                    yield f"{path}: {line!r}"
                continue
            process, thread, number = (int(entry[index]) for index in (1, 2, 3))
            writer = process * LOG_THREADS + thread
            index = writer * each + number
            if number >= each or index >= len(seen):
                yield f"{path}: nobody wrote {line!r}"
                continue
            if len(entry[4]) != number * 37 % 61 or seen[index]:
                yield f"{path}: damaged or twice: {line!r}"
            if number <= last.get(writer, -1):
                yield f"{path}: out of order: {line!r}"
            last[writer] = number
            seen[index] = 1


# Children.

TASK_THREADS = 8


def children_of(process: int) -> list[str]:
    """Returns the processes that a process has started and not waited for."""
    found: list[str] = []
    for thread in os.listdir(f"/proc/{process}/task"):
        with open(f"/proc/{process}/task/{thread}/children", encoding="ascii") as children:
            found += children.read().split()
    return found


def tasks(count: int, account: Account) -> Iterator[str]:
    """So many children of one process, from eight threads."""
    with account.start([f"{BUILD}/load/task-load", str(TASK_THREADS), str(count)],
                       stdin=subprocess.PIPE, stdout=subprocess.PIPE) as process:
        assert process.stdin and process.stdout

        def descriptors() -> int:
            return len(os.listdir(f"/proc/{process.pid}/fd"))

        said = [process.stdout.readline()]
        before = descriptors()
        process.stdin.write(b"\n")
        process.stdin.flush()
        while said[-1] and said[-1] != b"done\n":
            said.append(process.stdout.readline())
        try:
            wait_for("the last child to be waited for", lambda: not children_of(process.pid))
            wait_for("the last descriptor to be closed", lambda: descriptors() <= before)
        except TooLate:
            yield (f"left: children {children_of(process.pid)}, and {descriptors()} descriptors "
                   f"after {before}")
        process.stdin.write(b"\n")
        process.stdin.close()
        if process.wait(PATIENCE) != 0 or said != [b"ready\n", b"done\n"]:
            yield f"it ended with status {process.returncode}: {said[:10]}"


# Alerts.

# How the three buttons are pressed, and the answers that they give.
KEYS = ((("Return",), "1"), (("Escape",), "0"), (("Tab", "Return"), "-1"))


def alerts(count: int, account: Account) -> Iterator[str]:
    """An alert from each of so many threads, all on the screen before the first is answered."""
    with account.start([f"{BUILD}/load/alert-load", str(count)], cwd=f"{TREE}/examples",
                       stdin=subprocess.DEVNULL, stdout=subprocess.PIPE) as program:
        screen = Screen(account, program)

        def questions() -> list[Window] | None:
            shown = account.run(["xdotool", "search", "--onlyvisible", "--name", "^Question "])
            if len(shown.stdout.split()) < count:
                return None
            return [window for window in screen.windows() if window.title.startswith("Question ")]

        def is_gone(window: Window) -> bool:
            return account.run(["xprop", "-id", window.number, "WM_STATE"]).returncode != 0 \
                or not account.run(["xdotool", "search", "--onlyvisible", "--name",
                                    f"^{window.title}$"]).stdout

        shown = wait_for(f"{count} alerts", questions, PATIENCE)
        for window in shown:
            keys, _ = KEYS[int(window.title.split()[1]) % len(KEYS)]
            screen.activate(window)
            for key in keys:
                screen.press_key(key)
            wait_for(f"{window.title} to go", lambda window=window: is_gone(window))
        assert program.stdout
        said = program.stdout.read().decode()
        if program.wait(PATIENCE) != 0:
            yield f"it ended with status {program.returncode}"
    answers = dict(line.split() for line in said.splitlines())
    expected = {str(number): KEYS[number % len(KEYS)][1] for number in range(count)}
    yield from (f"thread {number} got {answers.get(number)} instead of {answer}"
                for number, answer in expected.items() if answers.get(number) != answer)


# Namesakes.

TRASH_THREADS = 4


def namesakes(count: int, account: Account) -> Iterator[str]:
    """So many items of one name, into the desktop's Trash."""
    trash = f"{account.home}/.local/share/Trash"
    said = trash_all(count, account)
    places = {number: place for number, place in said if place.startswith(f"{trash}/files/")}
    yield from check_places(count, places, said)
    came_from = {place: path for path, place in trashed(trash)}
    if len(came_from) != count:
        yield f"there are {len(came_from)} trashinfos"
    for number, place in places.items():
        if came_from.get(place) != f"{account.home}/Takes/{number}/Take.wav":
            yield f"the trashinfo of {place} says {came_from.get(place)}"


def namesakes_in_folder(count: int, account: Account) -> Iterator[str]:
    """So many items of one name, into a Trash that is a real folder and has no trashinfos."""
    trash = f"{account.home}/.Trash"
    os.mkdir(trash, 0o700)
    os.chown(trash, account.uid, account.gid)
    said = trash_all(count, account)
    places = {number: place for number, place in said if place.startswith(f"{trash}/")}
    yield from check_places(count, places, said)


def trash_all(count: int, account: Account) -> list[tuple[int, str]]:
    """Returns what the program tells of each item."""
    takes = f"{account.home}/Takes"
    for number in range(count):
        os.makedirs(f"{takes}/{number}")
        with open(f"{takes}/{number}/Take.wav", "xb") as file:
            file.write(b"%d" % number)
    give(takes, account.uid, account.gid)
    done = account.run([f"{BUILD}/load/trash-load", str(TRASH_THREADS), str(count), takes])
    said = [line.split(" ", 1) for line in done.stdout.decode().splitlines()]
    return [(int(number), place) for number, place in said]


def check_places(count: int, places: dict[int, str], said: list[tuple[int, str]]) -> Iterator[str]:
    """Every item has a place of its own, and is whole there."""
    if len(places) != count or len(said) != count:
        yield f"{len(places)} of {count} items were moved; {said[-1:]}"
    if len(set(places.values())) != len(places):
        yield "two items have one place"
    for number, place in places.items():
        with open(place, "rb") as file:
            if file.read() != b"%d" % number:
                yield f"{place} is not the item {number}"


CASES = (
    Case("uninstall", 1_000_000, "files, uninstalled", uninstall, Use(256, 256, 32)),
    Case("log", 2_000_000, "entries of 16 processes in one log", log, Use(64, 64, 16)),
    Case("tasks", 20_000, "children from 8 threads", tasks, Use(128, 128, 64)),
    Case("alerts", 128, "alerts at once, each from a thread of its own", alerts, Use(512, 64, 192)),
    Case("namesakes", 100_000, "items of one name into the Trash", namesakes, Use(64, 64, 16)),
    Case("folder", 100_000, "items of one name into a Trash without trashinfos",
         namesakes_in_folder, Use(64, 64, 16)),
    Case("crowd", 20, "times two uninstallers, one that puts back and one that lists", crowd,
         Use(256, 256, 32)),
)
