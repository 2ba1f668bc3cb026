"""The sample suite, its manifest, and the check that nothing but planned items has moved."""

from __future__ import annotations

import os
import shutil
import sys
import tempfile
import unittest
from collections import Counter
from collections.abc import Callable, Mapping
from dataclasses import replace
from urllib.parse import quote_from_bytes

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../e2e"))

from endtoend import half_suite, plan  # noqa: E402
from endtoend.check import Report, Run, check, is_name_in_trash, printable  # noqa: E402
from endtoend.manifest import Manifest, installed_folders  # noqa: E402
from endtoend.right import Right  # noqa: E402
from endtoend.suite import SampleSuite  # noqa: E402

# Thousands of files are written; where there is a file system in memory they never reach the disk.
MEMORY = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
SHARED_TOOL = "/Applications/Quillfen App Launcher.app"


class WithSuite(unittest.TestCase):
    """The suite in temporary folders, and a small uninstaller for it."""

    def setUp(self) -> None:
        temporary = tempfile.TemporaryDirectory(dir=MEMORY)
        self.addCleanup(temporary.cleanup)
        self.root, self.home = f"{temporary.name}/root", f"{temporary.name}/home"
        os.mkdir(self.home)
        self.suite = SampleSuite(self.root, self.home, cache_files=60)
        self.suite.install()
        self.take_manifest()

    def take_manifest(self, moved: Mapping[str, str] | None = None) -> None:
        self.manifest = Manifest.take(self.root, self.home,
                                      installed_folders(self.root, self.home),
                                      self.suite.processes, moved)

    def trash(self, path: str) -> str:
        """Moves an item to the Trash and returns its path there."""
        trash = f"{self.home}/.local/share/Trash"
        for folder in ("files", "info"):
            os.makedirs(f"{trash}/{folder}", exist_ok=True)
        name = os.path.basename(path)
        while os.path.lexists(f"{trash}/files/{name}"):
            name += "+"
        os.rename(path, f"{trash}/files/{name}")
        with open(f"{trash}/info/{name}.trashinfo", "w", encoding="ascii") as file:
            file.write(f"[Trash Info]\nPath={quote_from_bytes(os.fsencode(path))}\n"
                       "DeletionDate=2026-01-01T00:00:00\n")
        return f"{trash}/files/{name}"

    def uninstall(self, remove_shared: bool = False, spare: str = "") -> dict[str, str]:
        """Does what the program has to do; returns the place in the Trash of every item."""
        moved = {}
        for path, step in self.manifest.planned().items():
            if path == spare or step in plan.SHARED_STEPS and not remove_shared:
                continue
            if step in plan.DELETING_STEPS:
                os.unlink(path)
            else:
                moved[path] = self.trash(path)
        return moved

    def report(self, remove_shared: bool = False, run: Run = Run.WHOLE) -> Report:
        return check(self.manifest, remove_shared, run=run)


class TheSampleSuite(WithSuite):
    def test_has_something_at_every_place_of_the_plan(self) -> None:
        places = self.manifest.places()
        self.assertEqual([], [place.path for place in places if not os.path.lexists(place.path)])

    def test_has_as_many_rows_as_the_plan(self) -> None:
        rows = Counter(place.step for place in self.manifest.places())
        always = sum(rows[step] for step in range(4, 15) if step not in plan.SHARED_STEPS)
        shared = sum(rows[step] for step in plan.SHARED_STEPS - {3})
        self.assertEqual((11, 2, 54, 11, 3, 3, 2),
                         (rows[2], rows[3], always, shared, rows[16], rows[17], rows[19]))

    def test_has_receipts_in_several_spellings_and_some_that_do_not_match(self) -> None:
        receipts = os.listdir(f"{self.root}/Library/Receipts")
        taken = [place for place in self.manifest.places() if place.step == 18]
        self.assertEqual(6, len(taken))
        self.assertEqual(6, len(receipts) - len(taken))

    def test_may_have_any_number_of_files_more(self) -> None:
        SampleSuite(f"{self.root}/large", f"{self.home}/large", cache_files=1,
                    more_files=3333).install()
        more = [name for folder, _, names in os.walk(os.path.dirname(self.home))
                if "/More/" in folder for name in names]
        self.assertEqual(list(map(str, range(3333))), sorted(more, key=int))

    def test_has_names_that_are_no_utf_8(self) -> None:
        self.assertIn(rb"\xff\xfe", printable("\n".join(self.manifest.entries)).encode())

    def test_has_links_out_of_folders_that_go(self) -> None:
        support = f"{self.home}/Library/Application Support/Quillfen/Kelvane"
        self.assertTrue(os.path.isfile(f"{support}/Library/Loop.aiff"))
        self.assertTrue(os.path.isfile(f"{support}/Projects/Symphony.kproj/Score"))
        self.assertFalse(os.path.exists(f"{support}/Dangling"))

    def test_has_a_program_for_every_process_that_is_stopped(self) -> None:
        stopped = [os.path.basename(process.path) for process in self.suite.processes
                   if process.is_stopped]
        self.assertEqual(sorted(plan.STOPPED), sorted(stopped))
        for process in self.suite.processes:
            self.assertTrue(os.access(process.path, os.X_OK), process.path)


class AHalfSuite(WithSuite):
    def test_has_items_and_lacks_items_and_has_other_things_in_their_places(self) -> None:
        moved = half_suite.halve(self.root, self.home)
        self.take_manifest(moved)
        kinds = Counter(self.manifest.entries[place.path].type
                        if place.path in self.manifest.entries else "nothing"
                        for place in self.manifest.places())
        self.assertEqual({"file", "folder", "link", "nothing"}, set(kinds))
        self.assertNotEqual([], self.manifest.broken_links)
        (now,) = moved.values()
        self.assertIn(now, self.manifest.planned())


class TheManifest(WithSuite):
    def test_is_read_as_it_was_written(self) -> None:
        file = f"{os.path.dirname(self.home)}/manifest"
        self.manifest.write(file)
        self.assertEqual(self.manifest, Manifest.read(file))


class TheCheck(WithSuite):
    def assert_problem(self, path: str, what: str, remove_shared: bool = False) -> None:
        self.assertEqual([f"{printable(path)}: {what}"], self.report(remove_shared).problems)

    def test_is_content_when_exactly_the_planned_items_have_gone(self) -> None:
        for remove_shared in (False, True):
            with self.subTest(remove_shared=remove_shared):
                self.setUp()
                self.uninstall(remove_shared)
                report = self.report(remove_shared)
                self.assertEqual([], report.problems)
                self.assertTrue(all(item.is_done for item in report.items))

    def test_counts_items_by_the_step_that_took_them(self) -> None:
        self.uninstall(remove_shared=True)
        taken = Counter(item.step for item in self.report(remove_shared=True).items)
        self.assertEqual({2: 11, 3: 2, 6: 1, 7: 1, 8: 12, 9: 2, 10: 11, 11: 7, 12: 3, 13: 1,
                          14: 11, 15: 3, 16: 3, 18: 6, 19: 2}, dict(taken))

    def test_knows_the_names_that_privileged_tools_give(self) -> None:
        for name, original in (("A.plist", "A.plist"), ("A_20260101000000.plist", "A.plist"),
                               ("A_20260101000000.", "A"), ("A.2.plist", "A.plist"), ("A.10", "A")):
            self.assertTrue(is_name_in_trash(name, original), name)
        for name in ("A_20260101000000", "A_2026.plist", "AB.plist", "A.2.plist.b", "A.b.plist"):
            self.assertFalse(is_name_in_trash(name, "A.plist"), name)

    def test_finds_a_stray_that_has_gone_from_the_trash(self) -> None:
        stray = f"{self.home}/.local/share/Trash/files/Gilrath.app"
        os.makedirs(stray)
        self.take_manifest()
        self.uninstall()
        self.assertEqual([], self.report().problems)
        os.rename(stray, stray.replace(".app", " 2.app"))
        self.assertEqual([], self.report().problems)
        os.rmdir(stray.replace(".app", " 2.app"))
        self.assert_problem(stray, "is 0 times in the Trash")

    def test_leaves_broken_links_in_their_places(self) -> None:
        manual = f"{self.root}/Library/Documentation/Quillfen/Kelvane User Manual.pdf"
        os.unlink(manual)
        os.symlink("nowhere", manual)
        self.take_manifest()
        self.assertNotIn(manual, self.manifest.planned())
        self.uninstall()
        self.assertEqual([], self.report().problems)

    def test_follows_an_application_to_where_it_has_moved(self) -> None:
        place = f"{self.root}{plan.application_path('Torvast')}"
        os.rename(place, f"{self.home}/Torvast 2.app")
        self.take_manifest({place: f"{self.home}/Torvast 2.app"})
        self.uninstall(spare=f"{self.home}/Torvast 2.app")
        self.assert_problem(f"{self.home}/Torvast 2.app", "still there")

    def test_lets_items_stay_that_a_killed_run_has_not_reached(self) -> None:
        manual = f"{self.root}/Library/Documentation/Quillfen/Kelvane User Manual.pdf"
        self.uninstall(spare=manual)
        self.assertEqual([], self.report(run=Run.CUT_SHORT).problems)
        self.assertEqual([f"{manual}: is at {[manual]}"],
                         self.report(run=Run.REPEATED).problems)

    def test_lets_a_killed_run_leave_notes_of_what_it_has_not_moved(self) -> None:
        self.uninstall()
        with open(f"{self.home}/.local/share/Trash/info/A.trashinfo", "xb"):
            pass
        self.assertNotEqual([], self.report().problems)
        self.assertEqual([], self.report(run=Run.REPEATED).problems)

    def test_finds_items_that_a_killed_run_has_lost_or_doubled(self) -> None:
        cache = f"{self.home}/Library/Caches/com.quillfen.Dunmarl"
        moved = self.uninstall()[cache]
        shutil.copytree(moved, cache)
        for run in (Run.CUT_SHORT, Run.REPEATED):
            self.assertIn(f"{cache}: is at {[moved, cache]}", self.report(run=run).problems)
        shutil.rmtree(cache)
        os.unlink(f"{moved}/fsCachedData/00/000000")
        for run in (Run.CUT_SHORT, Run.REPEATED):
            self.assertIn(f"{cache}: is at no place", self.report(run=run).problems)

    def test_finds_items_that_moved_although_the_right_was_refused(self) -> None:
        manual = f"{self.root}/Library/Documentation/Quillfen/Kelvane User Manual.pdf"
        folder = os.path.dirname(manual)
        entry = self.manifest.entries[folder]
        self.manifest.entries[folder] = replace(entry, owner=entry.owner + 1)
        self.uninstall()
        self.assertIn(f"{manual}: is gone",
                      check(self.manifest, False, Right.REFUSED).problems)

    def test_finds_an_item_that_is_still_there(self) -> None:
        manual = f"{self.root}/Library/Documentation/Quillfen/Kelvane User Manual.pdf"
        self.uninstall(spare=manual)
        self.assert_problem(manual, "still there")

    def test_finds_an_item_that_was_deleted(self) -> None:
        cache = f"{self.home}/Library/Caches/com.quillfen.Torvast"
        self.uninstall(spare=cache)
        os.unlink(cache)
        self.assert_problem(cache, "0 times in the Trash")

    def test_finds_a_job_file_in_the_trash(self) -> None:
        job = f"{self.home}/Library/LaunchAgents/com.quillfen.Lunevar.plist"
        self.uninstall(spare=job)
        self.trash(job)
        self.assertIn(f"{job}: 1 times in the Trash", self.report().problems)

    def test_finds_shared_items_that_nobody_wanted_removed(self) -> None:
        self.uninstall(remove_shared=True)
        tool = self.root + SHARED_TOOL
        self.assertIn(f"{tool}: is gone", self.report(remove_shared=False).problems)

    def test_finds_shared_items_that_were_to_be_removed(self) -> None:
        self.uninstall(remove_shared=False)
        tool = self.root + SHARED_TOOL
        self.assertIn(f"{tool}: still there", self.report(remove_shared=True).problems)

    def test_finds_damage_to_an_item(self) -> None:
        def change(file: str) -> None:
            with open(file, "r+b") as content:
                content.write(b"X")

        def open_up(file: str) -> None:
            os.chmod(file, 0o666)

        damages: tuple[Callable[[str], None], ...] = (os.unlink, change, open_up)
        for damage in damages:
            with self.subTest(damage=damage):
                self.setUp()
                bundle = f"{self.root}/Applications/Quillfen/Kelvane/Gilrath.app"
                inner = "/Contents/Resources/Part 3.dat"
                damage(self.uninstall()[bundle] + inner)
                (problem,) = self.report().problems
                self.assertTrue(problem.startswith(bundle + inner), problem)

    def test_finds_a_neighbour_that_has_gone(self) -> None:
        self.uninstall()
        loop = f"{self.home}/Music/Kelvane Library/Loop.aiff"
        os.unlink(loop)
        self.assert_problem(loop, "is gone")

    def test_finds_a_receipt_that_does_not_match_in_the_trash(self) -> None:
        self.uninstall()
        receipt = f"{self.root}/Library/Receipts/Install Kelvane.pkg"
        self.trash(receipt)
        self.assertIn(f"{receipt}: is gone", self.report().problems)

    def test_finds_what_has_appeared(self) -> None:
        self.uninstall()
        for path in (f"{self.root}/Library/Stray", f"{self.home}/Stray"):
            with self.subTest(path=path):
                os.mkdir(path)
                self.assert_problem(path, "has appeared")
                os.rmdir(path)

    def test_finds_what_has_appeared_in_the_trash_without_a_trashinfo(self) -> None:
        self.uninstall()
        stray = f"{self.home}/.local/share/Trash/files/Stray"
        os.mkdir(stray)
        self.assertEqual([f"{stray}: has no trashinfo", f"{stray}: has appeared"],
                         self.report().problems)

    def test_lets_the_log_and_the_way_to_the_trash_appear(self) -> None:
        self.uninstall()
        os.makedirs(f"{self.home}/Library/Logs/Quillfen")
        with open(f"{self.home}/Library/Logs/Quillfen/Uninstaller.log", "xb"):
            pass
        os.symlink(".local/share/Trash/files", f"{self.home}/.Trash")
        self.assertEqual([], self.report().problems)

    def make_metadata(self, *names: str) -> str:
        folder = f"{self.home}/.local/share/gvfs-metadata"
        os.makedirs(folder)
        for name in names:
            with open(f"{folder}/{name}", "xb"):
                pass
        return folder

    def test_lets_the_desktop_s_notes_on_files_appear_change_and_go(self) -> None:
        databases = ("home", "root", "uuid-1-2", "label-Data", "root.A1B2C3")
        folder = self.make_metadata(*databases, "home-0123abcd.log")
        self.uninstall()
        self.assertEqual([], self.report().problems)
        self.take_manifest()
        with open(f"{folder}/home", "ab") as database:
            database.write(b"more")
        os.unlink(f"{folder}/home-0123abcd.log")
        self.assertNotIn("gvfs-metadata", "".join(self.report().problems))

    def test_finds_what_is_none_of_the_desktop_s_beside_its_notes(self) -> None:
        folder = self.make_metadata("Stray", "home-1.log", "homes")
        os.mkdir(f"{folder}/root")
        os.symlink("homes", f"{folder}/home")
        self.uninstall()
        strays = ("Stray", "home", "home-1.log", "homes", "root")
        self.assertEqual({f"{folder}/{name}: has appeared" for name in strays},
                         set(self.report().problems))

    def test_finds_notes_on_files_that_another_user_has_made(self) -> None:
        self.uninstall()
        folder = self.make_metadata()
        entry = self.manifest.entries[self.home]
        self.manifest.entries[self.home] = replace(entry, owner=entry.owner + 1)
        self.assertIn(f"{folder}: has appeared", self.report().problems)


if __name__ == "__main__":
    unittest.main()
