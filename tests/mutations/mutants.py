"""The changes that can be made to a source, and a source that has them all, each behind a switch."""

from __future__ import annotations

import re
from collections.abc import Callable, Iterator
from dataclasses import dataclass


@dataclass(frozen=True)
class Change:
    """One change of one statement."""
    line: int
    what: str  # in words: "drop", "swap with the next", or what becomes what
    text: str  # the statement as it is

    def key(self) -> str:
        return f"{self.what} | {self.text}"


@dataclass(frozen=True)
class Statement:
    """A statement, or the head of one, on one line: comments are gone, line ends are spaces."""
    line: int
    lines: int
    indent: str
    text: str


# Chooses which changes go in, and gives each its number; none leaves the statement without it.
Choose = Callable[[Change], "int | None"]

TEXTS = re.compile(r'("(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\')')
# What an operator, a literal or a constant becomes, outside texts.
REPLACEMENTS = (
    (re.compile(r" && "), " || "),
    (re.compile(r" \|\| "), " && "),
    (re.compile(r" == "), " != "),
    (re.compile(r" != "), " == "),
    (re.compile(r" < "), " <= "),
    (re.compile(r" <= "), " < "),
    (re.compile(r" > "), " >= "),
    (re.compile(r" >= "), " > "),
    (re.compile(r"(?<![\w)\]])!(?=[\w(])"), ""),
    (re.compile(r" [+-] (?=1\b)"), " + 1 + "),
    (re.compile(r"\btrue\b"), "false"),
    (re.compile(r"\bfalse\b"), "true"),
    (re.compile(r"(?<=::)yes\b"), "no"),
    (re.compile(r"(?<=::)no\b"), "yes"),
    (re.compile(r"\bE[A-Z]{3,}\b(?! ?[(:])"), "EOWNERDEAD"),
    (re.compile(r"\bO_(?:EXCL|NOFOLLOW|CLOEXEC|TRUNC|APPEND)\b"), "0"),
    (re.compile(r"(?<![\w.\]'])0(?![\w.'])"), "1"),
    (re.compile(r"(?<![\w.\]'])[1-9][0-9]*(?![\w.'])"), "(1 + \\g<0>)"),
)
CALL = re.compile(r"(?!return|throw|if|while|for|switch|co_|delete|static_assert|using|case|goto|"
                  r"catch|sizeof|decltype|alignas|template|operator|requires)"
                  r"(?:static_cast<void>\(|[\w:]+(?:<[^;(){}]*>)?(?:\(\))?(?:(?:\.|->)[\w:]+(?:\(\))?)*\()"
                  r".*\);$")
ASSIGNMENT = re.compile(r"(?P<to>[\w:.\[\]()*]+(?:->[\w.]+)*) (?P<operator>[+|-]?=) (?P<value>[^{].*);$")
LOCK = re.compile(r"const std::(?:lock_guard|scoped_lock|unique_lock) (?P<name>\w+)\((?P<mutex>[\w.>-]+)\);$")
RETURN = re.compile(r"return (?P<value>[^{].*);$")
HEAD = re.compile(r"(?P<before>(?:\} else )?(?:if|while) )\((?P<condition>.+)\) \{$")
INITIALISED = re.compile(r"(?P<before>(?:const )?[\w:<>,*& ]+ \w+ = )(?P<value>[^{\[].*);$")
DECLARES = re.compile(r"^(?:const )?(?:auto|[\w:<>]+)[&*]* ?[&*]?\w+ = |;")
SINGLE = re.compile(r"![^&|=!]+|[^&|=!]+ [!=]= [^&|=!]+")
LEAVES = re.compile(r"(?:continue|break);$")


def code_of(line: str) -> str:
    """A line without its comment."""
    outside = ""
    for part in TEXTS.split(line):
        if not TEXTS.fullmatch(part) and "//" in part:
            return (outside + part.split("//")[0]).rstrip()
        outside += part
    return outside.rstrip()


def balance(text: str) -> int:
    plain = TEXTS.sub("", text)
    return plain.count("(") + plain.count("[") - plain.count(")") - plain.count("]")


def statements(source: str) -> Iterator[Statement]:
    """Every line of a source, in order: joined where a statement has several."""
    joined: list[str] = []
    raw = False
    begin = 0
    for number, line in enumerate(source.split("\n"), 1):
        code = code_of(line)
        if not joined:
            begin = number
        joined.append(code)
        raw = raw or 'R"' in code
        text = " ".join(part.strip() for part in joined if part.strip())
        ends = text == "" or text.endswith(("{", "}", ":")) or text.startswith(("#", "}")) or \
            (text.endswith(";") and balance(text) <= 0)
        if raw and ')"' not in code:
            continue
        if ends:
            indent = joined[0][:len(joined[0]) - len(joined[0].lstrip())]
            yield Statement(begin, len(joined), indent, text)
            joined, raw = [], False
    if joined:
        yield Statement(begin, len(joined), "", " ".join(joined))


def variants(expression: str) -> Iterator[tuple[str, str]]:
    """Each way in which an expression can be changed in one place: in words, and its new text."""
    parts = TEXTS.split(expression)
    for index, part in enumerate(parts):
        def with_part(new: str, index: int = index) -> str:
            return "".join((*parts[:index], new, *parts[index + 1:]))
        if TEXTS.fullmatch(part):
            if part.startswith('"') and len(part) > 3:
                yield f"{part} -> another text", with_part(part[:-1] + '~"')
            continue
        for pattern, replacement in REPLACEMENTS:
            for found in pattern.finditer(part):
                new = found.expand(replacement)
                what = f"{found.group().strip()} -> {new.strip() or 'nothing'}"
                if len(list(pattern.finditer(expression))) > 1:
                    what += f" at {sum(map(len, parts[:index])) + found.start()}"
                yield what, with_part(part[:found.start()] + new + part[found.end():])


def is_simple_call(text: str) -> bool:
    if ".reserve(" in text:
        return False  # It only changes how fast a program is.
    return CALL.match(text) is not None and "{" not in TEXTS.sub("", text) and balance(text) == 0


class Mutator:
    """Puts the chosen changes of one source into it."""

    def __init__(self, source: str, choose: Choose) -> None:
        self._statements = list(statements(source))
        self._choose = choose

    def source(self) -> str:
        result: list[str] = []
        skip = 0
        for index, statement in enumerate(self._statements):
            if skip > 0:
                skip -= 1
                continue
            following = self._statements[index + 1] if index + 1 < len(self._statements) else None
            swapped = self._swapped(statement, following)
            if swapped is not None and following is not None:
                lines = statement.lines + following.lines
                result += [statement.indent + swapped] + [""] * (lines - 1)
                skip = 1
                continue
            changed = self._changed(statement)
            result += [statement.indent + (changed or statement.text)]
            result += [""] * (statement.lines - 1)
        return "\n".join(result)

    def _number(self, statement: Statement, what: str) -> int | None:
        return self._choose(Change(statement.line, what, statement.text))

    def _swapped(self, first: Statement, second: Statement | None) -> str | None:
        """Two calls in a row, in both orders."""
        if second is None or not (is_simple_call(first.text) and is_simple_call(second.text)):
            return None
        number = self._number(first, f"swap with: {second.text}")
        if number is None:
            return None
        one, other = self._changed(first) or first.text, self._changed(second) or second.text
        return f"if (mutant::is({number})) {{ {second.text} {first.text} }} else {{ {one} {other} }}"

    def _changed(self, statement: Statement) -> str | None:
        text = statement.text
        if text.startswith("#") or "constexpr" in text:
            return None
        if found := HEAD.fullmatch(text):
            return self._head(statement, found)
        if LEAVES.fullmatch(text):
            number = self._number(statement, "drop")
            return None if number is None else f"if (!mutant::is({number})) {{ {text} }}"
        if found := LOCK.fullmatch(text):
            number = self._number(statement, "drop the lock")
            name = found["name"]
            return None if number is None else (
                f"std::unique_lock {name}({found['mutex']}, std::defer_lock); "
                f"if (!mutant::is({number})) {{ {name}.lock(); }}")
        if found := RETURN.fullmatch(text):
            return self._with_value(statement, "return ", found["value"])
        if is_simple_call(text):
            return self._dropped(statement, text[:-1])
        if found := ASSIGNMENT.fullmatch(text):
            return self._dropped(statement, text[:-1])
        if found := INITIALISED.fullmatch(text):
            return self._with_value(statement, found["before"], found["value"])
        return None

    def _head(self, statement: Statement, found: re.Match[str]) -> str | None:
        condition = found["condition"]
        if DECLARES.search(condition):
            return None
        chosen = self._chosen_variants(statement, condition)
        # The change of a single comparison negates it already, and a loop might never end.
        number = None
        if "if " in found["before"] and not SINGLE.fullmatch(condition):
            number = self._number(statement, "negate")
        if number is not None:
            chosen.append((number, f"!static_cast<bool>({condition})"))
        if not chosen:
            return None
        alternatives = "".join(f"mutant::is({number}) ? static_cast<bool>({new}) : "
                               for number, new in chosen)
        return f"{found['before']}({alternatives}static_cast<bool>({condition})) {{"

    def _with_value(self, statement: Statement, before: str, value: str) -> str | None:
        chosen = self._chosen_variants(statement, value)
        if not chosen:
            return None
        alternatives = "".join(f"mutant::is({number}) ? ({new}) : " for number, new in chosen)
        return f"{before}{alternatives}({value});"

    def _dropped(self, statement: Statement, text: str) -> str | None:
        chosen = self._chosen_variants(statement, text)
        number = self._number(statement, "drop")
        if number is None and not chosen:
            return None
        alternatives = "".join(f"if (mutant::is({other})) {{ {new}; }} else "
                               for other, new in chosen)
        condition = "" if number is None else f"if (!mutant::is({number})) "
        return f"{alternatives}{condition}{{ {text}; }}"

    def _chosen_variants(self, statement: Statement, expression: str) -> list[tuple[int, str]]:
        chosen = []
        for what, new in variants(expression):
            number = self._number(statement, what)
            if number is not None:
                chosen.append((number, new))
        return chosen


def changes(source: str) -> list[Change]:
    """Every change that can be made to a source."""
    found: list[Change] = []

    def note(change: Change) -> None:
        found.append(change)

    Mutator(source, note).source()
    return found
