"""The check of what a layer may include."""

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
    def strangers(self, file: str, include: str) -> int:
        with tempfile.TemporaryDirectory() as tree:
            os.makedirs(os.path.dirname(f"{tree}/{file}"))
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
                              ("platform/linux/A.cpp", "<unistd.h>"),
                              ("platform/linux/tools/A.cpp", '"platform/linux/Trash.h"'),
                              ("platform/terminal/A.cpp", '"platform/linux/Trash.h"'),
                              ("platform/start/A.cpp", '"platform/qt/Identity.h"')):
            with self.subTest(file=file, include=include):
                self.assertEqual(0, self.strangers(file, include))

    def test_finds_what_a_layer_may_not_know(self) -> None:
        for file, include in (("app/A.cpp", "<QWidget>"), ("app/A.cpp", "<unistd.h>"),
                              ("app/A.cpp", '"platform/linux/Trash.h"'),
                              ("util/log/A.cpp", '"util/files/QFFileManager.h"'),
                              ("util/files/sub/A.h", '"app/B.h"'),
                              ("platform/Console.h", '"util/log/QFLog.h"'),
                              ("platform/foundation/A.cpp", '"platform/linux/Trash.h"'),
                              ("platform/linux/A.cpp", '"util/log/QFLog.h"'),
                              ("platform/linux/A.cpp", '"platform/qt/Identity.h"'),
                              ("platform/qt/A.cpp", '"app/AppController.h"'),
                              ("platform/terminal/A.cpp", '"platform/qt/Identity.h"')):
            with self.subTest(file=file, include=include):
                self.assertEqual(1, self.strangers(file, include))


if __name__ == "__main__":
    unittest.main(buffer=True)
