#!/usr/bin/python3 -B
"""The translations of the texts that people see, and what finds faults in them."""

from __future__ import annotations

import importlib.machinery
import importlib.util
import os
import re
import sys
import unittest

TREE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))
LOADER = importlib.machinery.SourceFileLoader("translations", f"{TREE}/scripts/translations")
SPEC = importlib.util.spec_from_loader("translations", LOADER)
assert SPEC is not None
translations = importlib.util.module_from_spec(SPEC)
sys.modules["translations"] = translations
LOADER.exec_module(translations)

SENTENCE = re.compile(r'"((?:[^"\\\n]|\\.)* (?:[^"\\\n]|\\.)*)"')
# Where the texts are the same in every language: the last alert's, and the utility layer's.
ALIKE_EVERYWHERE = ("util", "app/AppController.cpp")


def sentences(path: str) -> set[str]:
    """Returns the literals of several words in a source, or in all sources below a directory."""
    whole = f"{TREE}/{path}"
    sources = [whole] if os.path.isfile(whole) else [
        f"{folder}/{name}" for folder, _, names in os.walk(whole) for name in names]
    found: set[str] = set()
    for source in sources:
        with open(source, encoding="utf-8") as file:
            found.update(SENTENCE.findall(file.read()))
    return found


class Translations(unittest.TestCase):
    def test_there_is_a_german_one(self) -> None:
        self.assertIn("de", translations.languages())

    def test_have_every_text_with_its_places_for_values(self) -> None:
        for language in translations.languages():
            self.assertEqual([], list(translations.problems_of(language)), language)

    def test_leave_the_alerts_and_the_utility_layer_alone(self) -> None:
        alike = set().union(*map(sentences, ALIKE_EVERYWHERE))
        self.assertIn("Items have been placed in your Trash.", alike)
        self.assertIn("Error: Unable to remove LaunchAgent", alike)
        for language in translations.languages():
            texts = {text.english for text in translations.texts_in(translations.file_of(language))}
            self.assertEqual(set(), alike & texts)


class Problems(unittest.TestCase):
    def problems(self, english: str, translation: str) -> list[str]:
        return list(translations.Text("Lists", english, translation).problems())

    def test_are_none_in_a_translation_that_fits(self) -> None:
        self.assertEqual([], self.problems("%1, %2 of &all…", "&alle %2, %1…"))

    def test_are_found(self) -> None:
        for english, translation, problem in (
                ("Items", "", "has no translation"),
                ("%1 items", "Objekte", "has other places for values"),
                ("%1 of %2", "%1 von %1", "has other places for values"),
                ("&Copy", "Kopieren", "has another number of underlined letters"),
                ("Show…", "Anzeigen", "does not end alike")):
            with self.subTest(translation):
                self.assertEqual([problem], self.problems(english, translation))


if __name__ == "__main__":
    unittest.main()
