"""The check of what a layer may include, and of which sources have a test."""

from __future__ import annotations

import importlib.machinery
import importlib.util
import os
import sys
import tempfile
import unittest

PATH = os.path.join(os.path.dirname(os.path.realpath(__file__)), "../../scripts/check-layers")
LOADER = importlib.machinery.SourceFileLoader("check_layers", PATH)
SPEC = importlib.util.spec_from_loader("check_layers", LOADER)
assert SPEC is not None
check_layers = importlib.util.module_from_spec(SPEC)
sys.modules["check_layers"] = check_layers
LOADER.exec_module(check_layers)


class CheckLayers(unittest.TestCase):
    def status(self, *sources: tuple[str, str]) -> int:
        """What the check returns for files that each include one thing."""
        with tempfile.TemporaryDirectory() as tree:
            for file, include in sources:
                os.makedirs(os.path.dirname(f"{tree}/{file}"), exist_ok=True)
                with open(f"{tree}/{file}", "w", encoding="utf-8") as source:
                    source.write(f"#include {include}\n")
            setattr(check_layers, "TREE", tree)
            return int(check_layers.main())

    def test_lets_a_layer_know_the_standard_library_itself_and_those_below(self) -> None:
        for file, include in (("app/A.cpp", "<vector>"), ("app/A.cpp", '"app/B.h"'),
                              ("app/A.cpp", '"util/files/QFFileManager.h"'),
                              ("util/files/A.cpp", '"util/log/QFLog.h"'),
                              ("util/log/A.cpp", '"platform/FileSystem.h"'),
                              ("platform/Console.h", '"platform/foundation/Date.h"'),
                              ("platform/support/A.h", '"platform/Console.h"'),
                              ("util/task/A.h", '"platform/support/Process.h"'),
                              ("platform/linux/StartUp.cpp", "<unistd.h>"),
                              ("platform/linux/StartUp.cpp", '"platform/linux/files/Digests.h"'),
                              ("platform/linux/system/A.h", '"platform/support/Process.h"'),
                              ("platform/linux/tools/A.h", '"platform/linux/desktop/Trash.h"'),
                              ("platform/terminal/A.cpp", '"platform/linux/posix/Errors.h"'),
                              ("app/cli/A.cpp", '"app/UninstallPlan.h"'),
                              ("app/cli/A.cpp", "<nlohmann/json.hpp>"),
                              ("app/start/A.cpp", '"app/cli/Run.h"'),
                              ("app/start/A.cpp", '"platform/terminal/Screen.h"'),
                              ("app/windows/A.cpp", '"app/start/RunFollower.h"'),
                              ("app/windows/A.cpp", '"platform/qt/ItemsWindow.h"')):
            with self.subTest(file=file, include=include):
                self.assertEqual(0, self.status((file, include)))

    def test_finds_what_a_layer_may_not_know(self) -> None:
        for file, include in (("app/A.cpp", "<QWidget>"), ("app/A.cpp", "<unistd.h>"),
                              ("app/A.cpp", '"platform/linux/desktop/Trash.h"'),
                              ("app/A.cpp", '"app/cli/Run.h"'),
                              ("app/A.cpp", "<nlohmann/json.hpp>"),
                              ("app/cli/A.cpp", "<unistd.h>"),
                              ("app/cli/A.cpp", '"platform/terminal/Screen.h"'),
                              ("app/cli/A.cpp", '"app/start/ApplicationMain.h"'),
                              ("app/start/A.cpp", "<unistd.h>"),
                              ("app/start/A.cpp", '"platform/qt/ItemsWindow.h"'),
                              ("app/start/A.cpp", '"app/windows/WindowMain.h"'),
                              ("app/start/A.cpp", '"platform/linux/posix/Errors.h"'),
                              ("util/log/A.cpp", '"util/files/QFFileManager.h"'),
                              ("util/files/sub/A.h", '"app/B.h"'),
                              ("platform/Console.h", '"util/log/QFLog.h"'),
                              ("platform/foundation/A.cpp", '"platform/linux/desktop/Trash.h"'),
                              ("platform/foundation/A.cpp", '"platform/Console.h"'),
                              ("platform/Console.h", '"platform/support/Process.h"'),
                              ("platform/support/A.cpp", "<unistd.h>"),
                              ("platform/linux/posix/A.h", '"util/log/QFLog.h"'),
                              ("platform/linux/posix/A.h", '"platform/qt/ItemsWindow.h"'),
                              ("platform/terminal/A.cpp", '"platform/linux/desktop/Trash.h"'),
                              ("platform/qt/A.cpp", '"app/AppController.h"'),
                              ("platform/terminal/A.cpp", '"platform/qt/ItemsWindow.h"')):
            with self.subTest(file=file, include=include):
                self.assertEqual(1, self.status((file, include)))

    def test_lets_a_room_use_only_those_before_it(self) -> None:
        rooms = ("posix", "process", "files", "plist", "system", "desktop", "authorization",
                 "tools")
        for number, room in enumerate(rooms):
            for other_number, other in enumerate(rooms):
                with self.subTest(room=room, other=other):
                    self.assertEqual(
                        0 if other_number <= number else 1,
                        self.status((f"platform/linux/{room}/A.h",
                                     f'"platform/linux/{other}/B.h"')))

    def test_lets_the_helper_use_nothing_but_the_first_room(self) -> None:
        helper = "platform/linux/authorization/helper"
        for include, status in (("<unistd.h>", 0), (f'"{helper}/B.h"', 0),
                                ('"platform/linux/posix/Errors.h"', 0),
                                ('"platform/linux/process/Child.h"', 1),
                                ('"platform/linux/authorization/B.h"', 1),
                                ('"platform/Console.h"', 1),
                                ('"platform/foundation/Text.h"', 1)):
            with self.subTest(include=include):
                self.assertEqual(status, self.status((f"{helper}/A.h", include)))

    def test_finds_a_file_that_belongs_to_no_layer(self) -> None:
        self.assertEqual(1, self.status(("platform/other/A.cpp", "<vector>")))

    def test_finds_folders_that_include_each_other(self) -> None:
        self.assertEqual(1, self.status(("tests/A.cpp", '"tests/one/B.h"'),
                                        ("tests/one/B.h", '"tests/A.h"')))

    def test_finds_a_circle_of_three_folders(self) -> None:
        self.assertEqual(1, self.status(("tests/one/A.cpp", '"tests/two/B.h"'),
                                        ("tests/two/B.h", '"tests/three/C.h"'),
                                        ("tests/three/C.h", '"tests/one/A.h"')))

    def test_lets_files_of_a_folder_include_each_other_and_many_one_folder(self) -> None:
        self.assertEqual(0, self.status(("app/cli/A.cpp", '"app/cli/B.h"'),
                                        ("app/cli/B.h", '"app/C.h"'),
                                        ("tests/A.cpp", '"app/C.h"')))

    def test_finds_a_source_of_a_room_without_a_test(self) -> None:
        for source, test in (("posix/Rename.cpp", "posix/RenameTest.cpp"),
                             ("tools/chown.cpp", "tools/ChownTest.cpp"),
                             ("tools/launchctl/JobFile.cpp", "tools/launchctl/JobFileTest.cpp")):
            with self.subTest(source=source):
                needed = (f"platform/linux/{source}", "<vector>")
                self.assertEqual(1, self.status(needed))
                self.assertEqual(0, self.status(needed,
                                                (f"tests/platform/linux/{test}", "<vector>")))

    def test_takes_no_test_for_that_of_a_source_elsewhere(self) -> None:
        for test in ("posix/FoldersTest.cpp", "files/RenameTest.cpp", "RenameTest.cpp",
                     "posix/deeper/RenameTest.cpp"):
            with self.subTest(test=test):
                self.assertEqual(1, self.status(("platform/linux/posix/Rename.cpp", "<vector>"),
                                                (f"tests/platform/linux/{test}", "<vector>")))

    def test_asks_no_test_of_headers_main_or_what_is_in_no_room(self) -> None:
        for source in ("posix/SystemCall.h", "tools/ditto/main.cpp", "StartUp.cpp"):
            with self.subTest(source=source):
                self.assertEqual(0, self.status((f"platform/linux/{source}", "<vector>")))


if __name__ == "__main__":
    unittest.main(buffer=True)
