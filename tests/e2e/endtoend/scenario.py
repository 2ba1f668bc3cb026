"""One uninstall from beginning to end: what is installed, pressed, seen and left."""

from __future__ import annotations

import os
import subprocess
import time
from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import dataclass
from enum import Enum

from endtoend import half_suite, other_user, plan
from endtoend.account import Account
from endtoend.agents import Agents, NoManager
from endtoend.check import Report, Run, changes, check, print_report
from endtoend.held_tool import HeldTool
from endtoend.manifest import Manifest
from endtoend.program_log import ProgramLog
from endtoend.right import Person, Right, wait_for_tools
from endtoend.screen import Screen, Window, is_drawn
from endtoend.session import Session
from endtoend.snapshot import Watched
from endtoend.suite import LOCAL_FOLDERS, USER_FOLDERS, Process, SampleSuite, give
from endtoend.waiting import PATIENCE_SECONDS, POLL_SECONDS, TooLate

MAIN = "Uninstall Kelvane"
COMPLETE = "Uninstall complete"
UNREMOVED = "Error: Unable to remove LaunchAgent"
LEFT = "Items Left in Place"
NOT_RECORDED = "Run Not Recorded"
LEFT_STATUS = 3
CANCELLED_STATUS = 4
# The middle of the last button at the foot of a window, from the lower right corner.
LAST_BUTTON = (55, 35)


class Installed(Enum):
    """How much of the suite there is."""

    WHOLE = "whole"
    HALF = "half"
    NOTHING = "nothing"


@dataclass(frozen=True)
class Options:
    """The options of a scenario."""

    program: str
    pictures: str
    remove_shared: bool
    installed: Installed
    cache_files: int
    # Small files beside those that the suite has anyway.
    more_files: int
    # Another user has the same items, and the Trash holds items of the same names; in a copy of the
    # machine.
    has_other_user: bool
    # The folder of the launch agents belongs to root, with its contents.
    locks_agents: bool
    # In a copy of the machine jobs are loaded, and the administrator's right is asked for.
    is_in_copy: bool
    # A tool is held for a moment, so that the progress window is seen.
    holds_tool: bool
    # The machine-wide items belong to root unless the right is not needed.
    right: Right
    # Cancel is pressed where otherwise the uninstall would begin.
    cancels: bool = False
    # The display goes away in the middle of the run.
    display_goes: bool = False

    @property
    def build(self) -> str:
        """Returns the build folder of the program."""
        return os.path.dirname(os.path.dirname(self.program))


class Scenario:
    """An uninstall in a session; `watched` covers everything that may change."""

    def __init__(self, options: Options, session: Session, watched: list[Watched]) -> None:
        self._options = options
        self._session = session
        self._account = session.account
        self._watched = watched
        self._companions: list[tuple[Process, subprocess.Popen[bytes]]] = []
        self._is_complete = False
        self._is_left_told = False
        self._is_gap_told = False
        self._tries_again = False
        self._has_begun = False
        self._problems: list[str] = []
        self._held = HeldTool() if options.holds_tool else None
        self._agents = Agents(
            self._account, f"{options.build}/libexec/kelvane-uninstaller/tools/bin/launchctl")
        self._questions = 0
        self._complaints = 0
        self._begin = 0.0

    def run(self) -> int:
        """Runs the scenario, prints the result, and returns the exit status."""
        manifest = self._install()
        self._log = ProgramLog(self._account, self._options.program)
        self._start_companions(manifest.processes)
        try:
            self._load_agents()
            report = self._perform(manifest)
        except (TooLate, RuntimeError) as failure:
            self._problems.append(str(failure))
            report = self._check(manifest)
        if not self._has_begun and not self._problems:
            return self._report_cancelled(manifest)
        self._look_at_companions()
        if self._is_left_told != (self._options.right is Right.REFUSED):
            told = "told" if self._is_left_told else "not told"
            self._problems.append(f"the person was {told} what was left in place")
        # In half an installation, something else is in the place of a job's file.
        if self._is_gap_told != (self._options.installed is Installed.HALF):
            told = "told" if self._is_gap_told else "not told"
            self._problems.append(f"the person was {told} that not all can be put back")
        self._log.show()
        are_kept = self._options.locks_agents and self._options.right is Right.REFUSED
        self._problems += self._agents.look(are_kept)
        if self._complaints != (len(plan.AGENTS) if are_kept else 0):
            self._problems.append(f"the alert {UNREMOVED!r} was seen {self._complaints} times")
        print_report(report, self._account.home)
        if self._held:
            self._problems.append("the progress window was not seen")
        if self._is_complete == self._options.display_goes:
            seen = "seen" if self._is_complete else "not seen"
            self._problems.append(f"the alert {COMPLETE!r} was {seen}")
        for problem in self._problems:
            print(f"Not as it should be: {problem}")
        if self._is_complete:
            print(COMPLETE)
        return 1 if self._problems or report.problems else 0

    def _report_cancelled(self, manifest: Manifest) -> int:
        """Checks what a person sees after pressing Cancel."""
        for process, started in self._companions:
            if started.poll() is not None:
                self._problems.append(f"{process.path} is not running")
            started.kill()
            started.wait()
        print("The uninstaller was cancelled.")
        self._problems += changes(manifest)
        if not self._may_be_cancelled():
            self._problems.append("nobody pressed Cancel")
        for problem in self._problems:
            print(f"Not as it should be: {problem}")
        if not self._problems:
            print("Nothing has changed.")
        return 1 if self._problems else 0

    def _may_be_cancelled(self) -> bool:
        return self._options.cancels or not self._session.is_private

    def _perform(self, manifest: Manifest) -> Report:
        """Runs the uninstall, and checks the result."""
        self._uninstall()
        wait_for_tools()
        if self._has_begun:
            self._look_at_questions(manifest)
        return self._check(manifest)

    def _check(self, manifest: Manifest, run: Run = Run.WHOLE) -> Report:
        return check(manifest, self._options.remove_shared, self._options.right, run)

    def _install(self) -> Manifest:
        home = self._account.home
        suite = SampleSuite("", home, self._options.cache_files, self._options.more_files)
        moved: dict[str, str] = {}
        if self._options.installed is Installed.NOTHING:
            suite.install_neighbours()
        else:
            suite.install()
        if self._options.installed is Installed.HALF:
            moved = half_suite.halve("", home)
        for folder in USER_FOLDERS:
            give(home + folder, self._account.uid, self._account.gid)
        is_users = self._options.right is Right.NOT_NEEDED
        owner = (self._account.uid, self._account.gid) if is_users else (0, 0)
        for folder in LOCAL_FOLDERS:
            give(folder, *owner)
        if self._options.locks_agents:
            give(f"{home}/Library/LaunchAgents", 0, 0)
        if self._options.has_other_user:
            suite.processes += other_user.install(self._account)
        return Manifest.take("", home, self._watched, suite.processes, moved)

    def _start_companions(self, processes: list[Process]) -> None:
        for process in processes:
            if os.path.isfile(process.path):
                account = Account.named(process.user) if process.user else self._account
                started = account.start([process.path, "1000000"], stdin=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL)
                self._companions.append((process, started))

    def _load_agents(self) -> None:
        if self._options.is_in_copy and self._options.installed is Installed.WHOLE:
            try:
                self._agents.load()
            except NoManager as reason:
                print(f"The suite's jobs are not running: {reason}")

    def _look_at_questions(self, manifest: Manifest) -> None:
        """Prints how often the password was asked for: once, also when it was refused."""
        if self._options.right is Right.NOT_NEEDED:
            return
        is_given = self._options.right is Right.GIVEN
        print(f"Questions for the administrator's password: {self._questions}, "
              f"{'answered' if is_given else 'cancelled'}")
        expected = 1 if takes_right(manifest, self._options.remove_shared) else 0
        if self._questions != expected:
            self._problems.append(f"there were {self._questions} questions for the password "
                                  f"instead of {expected}")

    def _look_at_companions(self) -> None:
        """Prints which processes were stopped and which were not, and ends the latter."""
        stopped: list[str] = []
        running: list[str] = []
        for process, started in self._companions:
            is_running = started.poll() is None
            name = os.path.basename(process.path)
            (running if is_running else stopped).append(
                f"{name} of {process.user}" if process.user else name)
            if is_running == process.is_stopped:
                self._problems.append(f"{process.path} is {'still' if is_running else 'not'} "
                                      "running")
            started.kill()
            started.wait()
        print(f"Stopped: {', '.join(stopped) or 'nothing'}")
        print(f"Left running: {', '.join(running) or 'nothing'}")

    # The program and its windows.

    def _uninstall(self) -> None:
        with self._running_program() as program:
            screen = Screen(self._account, program)
            main = screen.wait_for_window()
            print(f"The window was up after {1000 * (time.monotonic() - self._begin):.0f} ms")
            picture = screen.drawn_picture(main)
            self._keep("main", picture)
            if self._session.is_private:
                self._press_buttons(screen, main, picture)
            else:
                self._ask_to_press()
            self._follow(screen, program, main)
            self._look_at_status(program)

    @contextmanager
    def _running_program(self) -> Iterator[subprocess.Popen[bytes]]:
        """Runs the program, with the person who answers its questions; kills it if it does not
        end."""
        self._begin = time.monotonic()
        with self._account.start([self._options.program], stdin=subprocess.DEVNULL,
                                 stderr=self._log.errors) as program:
            person = self._person_for(program)
            try:
                yield program
            finally:
                program.kill()
                if person:
                    self._questions = person.leave()

    def _person_for(self, program: subprocess.Popen[bytes]) -> Person | None:
        """Returns who answers the question for the password."""
        if self._options.right is Right.NOT_NEEDED:
            return None
        if not self._session.is_private:
            print("The password is given here: your desktop's own question for it does not reach "
                  "into the copy.", flush=True)
        return Person(self._account, f"{self._options.build}/e2e/polkit-agent", program.pid,
                      self._options.right)

    def _keep(self, name: str, picture: bytes) -> None:
        """Writes a picture, if there is one, as a file of the folder's owner."""
        if not picture:
            return
        folder = self._options.pictures
        path = f"{folder}/{name}.png"
        with open(path, "wb") as file:
            file.write(picture)
        owner = os.stat(folder)
        os.chown(path, owner.st_uid, owner.st_gid)

    def _press_buttons(self, screen: Screen, main: Window, picture: bytes) -> None:
        screen.activate(main)
        if self._options.cancels:
            return screen.press_key("Escape")
        if self._options.remove_shared:
            # The checkbox has the keyboard focus first. Its mnemonic would tick it only a moment
            # later, perhaps after the click.
            screen.press_key("space")
            self._keep("main", screen.drawn_picture(main, unlike=picture))
        screen.click_from_corner(main, *LAST_BUTTON)

    def _ask_to_press(self) -> None:
        tick = "tick the checkbox, and " if self._options.remove_shared else ""
        print(f"The uninstaller is open on your display: please {tick}press its button.",
              flush=True)

    def _follow(self, screen: Screen, program: subprocess.Popen[bytes], main: Window) -> None:
        """Watches the windows until the program ends. Nothing new may take too long, unless a
        person presses the buttons."""
        self._is_left_told = False
        self._tries_again = False
        # A number alone is no window: a program that starts again gets the same ones.
        known = {main}
        deadline = time.monotonic() + PATIENCE_SECONDS
        while program.poll() is None:
            for window in screen.windows():
                if window not in known:
                    known.add(window)
                    self._meet(screen, window)
                    if window.title == LEFT:
                        known.discard(main)
                    deadline = time.monotonic() + PATIENCE_SECONDS
            if self._session.is_private and time.monotonic() > deadline:
                raise TooLate("the program neither ended nor showed another window")
            time.sleep(POLL_SECONDS)

    def _look_at_status(self, program: subprocess.Popen[bytes]) -> None:
        if program.returncode != self._expected_status():
            self._problems.append(f"the program ended with status {program.returncode}")

    def _expected_status(self) -> int:
        if not self._has_begun:
            return CANCELLED_STATUS
        if self._tries_again:
            return CANCELLED_STATUS
        return LEFT_STATUS if self._is_left_told else 0

    def _meet(self, screen: Screen, window: Window) -> None:
        if self._tries_again:
            # A window of the program that ends here may still be seen, but has no picture any more.
            if window.title == MAIN:
                screen.activate(window)
                screen.press_key("Escape")
            return
        self._has_begun = True
        if window.title == COMPLETE:
            self._is_complete = True
            self._meet_alert(screen, window, "alert")
        elif window.title == UNREMOVED:
            self._complaints += 1
            self._meet_alert(screen, window, "complaint")
        elif window.title == LEFT:
            self._meet_left(screen, window)
        elif window.title == NOT_RECORDED:
            self._is_gap_told = True
            self._meet_alert(screen, window, "not-recorded")
        elif self._held:
            self._keep("progress", screen.drawn_picture(window))
            if self._options.display_goes:
                self._session.end_private_display()
            self._held.release()
            self._held = None
        elif is_drawn(picture := screen.picture(window)):
            self._keep("progress", picture)

    def _meet_left(self, screen: Screen, window: Window) -> None:
        """Tries again, and cancels that, where the shared items go too; else closes the window."""
        self._is_left_told = True
        if not (self._options.remove_shared and self._session.is_private):
            return self._meet_alert(screen, window, "left")
        self._keep("left", screen.drawn_picture(window))
        self._tries_again = True
        screen.activate(window)
        screen.press_key("alt+t")

    def _meet_alert(self, screen: Screen, window: Window, name: str) -> None:
        self._keep(name, screen.drawn_picture(window))
        if self._session.is_private:
            screen.activate(window)
            screen.press_key("Return")


def takes_right(manifest: Manifest, remove_shared: bool) -> bool:
    """Returns whether a row of the plan finds an item in root's folders."""
    planned = manifest.planned()

    def finds(place: plan.Place) -> bool:
        is_bundle = f"{place.path}/Contents/Info.plist" in manifest.entries
        return place.path in planned and (is_bundle or place.step not in plan.LOOKUP_STEPS)

    return any(finds(place) and manifest.is_in_others_folder(place.path)
               and (remove_shared or place.step not in plan.SHARED_STEPS)
               for place in manifest.places())
