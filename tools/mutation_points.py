# mutation_points - where the product's source can be changed on purpose, and how. Reads the text of one .cpp file as tokens,
# so that comments, preprocessor lines, attributes and static assertions are left alone. It relies on the project's formatting:
# a binary operator has a space on each side, a template's angle bracket does not.
from __future__ import annotations

import hashlib
import re
from bisect import bisect_right
from dataclasses import dataclass
from typing import Iterable


@dataclass(frozen=True)
class Token:
    kind: str  # name, number, text, char, mark
    text: str
    start: int
    end: int


@dataclass(frozen=True)
class Mutant:
    file: str
    function: str  # "" outside of functions
    line: int
    source: str  # the line's text without its indentation
    kind: str
    label: str  # unique among the mutants of lines with this text in this function
    start: int
    end: int
    replacement: str

    @property
    def key(self) -> tuple[str, str, str, str]:
        """Identifies the mutant while the code around it changes."""
        return self.file, self.function, self.source, self.label

    def rank(self, seed: int) -> str:
        """The rank in the sample of a seed. It depends on the mutant only, so that other code may change."""
        return hashlib.sha256("\0".join((str(seed), *self.key)).encode()).hexdigest()

    def applied(self, text: str) -> str:
        return text[:self.start] + self.replacement + text[self.end:]


SKIPPED = r"""
    (?P<space>\n|(?!(?<=\n)[\ \t]*\#)[^\S\n]+)
  | (?P<comment>//(?:[^\n]*\\\n)*[^\n]*|/\*.*?\*/)
  | (?P<preprocessor>(?:(?<=\n)|\A)[\ \t]*\#(?:[^\n]*\\\n)*[^\n]*)
  | (?P<attribute>\[\[[^\]]*\]\])
"""
KEPT = r"""
    (?P<raw>(?:u8|[LuU])?R"(?P<fence>[^()\\\s]{0,16})\(.*?\)(?P=fence)")
  | (?P<text>(?:u8|[LuU])?"(?:[^"\\\n]|\\.)*")
  | (?P<char>(?:u8|[LuU])?'(?:[^'\\\n]|\\.)+')
  | (?P<number>\.?\d(?:[eEpP][+-]|'?[\w.])*)
  | (?P<name>[A-Za-z_]\w*)
  | (?P<mark><=>|<<=|>>=|\.\.\.|->\*|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|.)
"""
TOKEN = re.compile(SKIPPED + "|" + KEPT, re.VERBOSE | re.DOTALL)

COMPARISONS = {"==": ("!=",), "!=": ("==",), "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<")}
OPERATORS = {"&&": "||", "||": "&&", "+": "-", "-": "+", "*": "/", "/": "*", "|": "&", "&": "|"}
STEPS = {"++": "--", "--": "++", "+=": "-=", "-=": "+="}
ASSIGNMENTS = {"=", "+=", "-=", "*=", "/=", "%=", "&=", "|=", "^=", "<<=", ">>=", "<<"}
LOG_CALLS = {"LogDebug": "LogError", "LogError": "LogDebug"}

# What begins a statement that is neither a call nor an assignment.
KEYWORDS = {"if", "for", "while", "switch", "do", "try", "catch", "case", "default", "else", "using", "typedef",
            "struct", "class", "enum", "namespace", "template", "goto", "const", "constexpr", "static", "auto",
            "extern", "return", "throw", "break", "continue", "static_assert", "public", "private", "protected",
            "friend", "new", "delete"}
# What may precede a function's return type without being part of it.
SPECIFIERS = {"static", "inline", "constexpr", "virtual", "explicit", "friend", "extern", "CALLBACK", "WINAPI",
              "APIENTRY"}
CLOSING = {"(": ")", "[": "]", "{": "}"}


def tokens_of(text: str) -> list[Token]:
    found = []
    for match in TOKEN.finditer(text):
        kind = match.lastgroup or "mark"
        if kind in ("space", "comment", "preprocessor", "attribute"):
            continue
        if kind in ("raw", "fence"):
            kind = "text"
        found.append(Token(kind, match.group(), match.start(), match.end()))
    return found


def constants_of(texts: Iterable[str]) -> dict[str, str]:
    """For each named constant in these files another one that may replace it: for the platform's names one with the same first
    word, for our kNames one of the same file and type, for enumerators one of the same type. The key of an enumerator is
    Type::Name."""
    families: dict[str, list[str]] = {}
    for number, text in enumerate(texts):
        tokens = tokens_of(text)
        for index, token in enumerate(tokens):
            following = tokens[index + 1] if index + 1 < len(tokens) else token
            if is_platform_name(token) and following.kind != "name":
                families.setdefault(token.text.split("_")[0] + "_", []).append(token.text)
            elif token.text == "constexpr":
                of_type, name = definition(tokens, index + 1)
                families.setdefault(f"{number} {of_type}", []).append(name)
            elif token.text == "enum" and following.text == "class":
                of_type = tokens[index + 2].text
                families[of_type + "::"] = [f"{of_type}::{name}" for name in enumerators(tokens, index + 3)]
    others = {}
    for family, members in families.items():
        # The platform's names are in alphabetical order, so that other files don't change the choice.
        ring = sorted(set(members)) if family.endswith("_") else list(dict.fromkeys(members))
        others.update({name: ring[(at + 1) % len(ring)] for at, name in enumerate(ring) if name and len(ring) > 1})
    return others


def is_platform_name(token: Token) -> bool:
    return token.kind == "name" and re.fullmatch(r"[A-Z][A-Z0-9]*(_[A-Z0-9]+)+", token.text) is not None


def definition(tokens: list[Token], index: int) -> tuple[str, str]:
    """Type and name of the constant whose definition begins at index; no name if it is a function."""
    words = []
    while index < len(tokens) and tokens[index].text not in ("=", "{", "(", ";"):
        words.append(tokens[index].text)
        index += 1
    at = next((at for at, word in enumerate(words) if re.fullmatch(r"k[A-Z]\w*", word)), -1)
    if at < 0 or index >= len(tokens) or tokens[index].text not in ("=", "{"):
        return "", ""
    return " ".join(words[:at] + ["[]"] * ("[" in words)), words[at]


def enumerators(tokens: list[Token], index: int) -> list[str]:
    while index < len(tokens) and tokens[index].text not in ("{", ";"):
        index += 1
    names, expected = [], True
    while index + 1 < len(tokens) and tokens[index].text != "}":
        index += 1
        if expected and tokens[index].kind == "name":
            names.append(tokens[index].text)
        expected = tokens[index].text == ","
    return names


@dataclass
class Scope:
    kind: str  # file, namespace, class, enum, function, lambda, block, list
    name: str = ""
    returns: str | None = None  # a function's return type; None for a lambda
    closes: int = 0


class Finder:
    """The mutants of one file."""

    def __init__(self, file: str, text: str, constants: dict[str, str]):
        self.file, self.text, self.constants = file, text, constants
        self.tokens = tokens_of(text)
        self.partner = self.matching_brackets()
        self.lines = [0] + [at + 1 for at, character in enumerate(text) if character == "\n"]
        self.found: list[Mutant] = []
        self.labels: dict[tuple[str, str, str], int] = {}
        self.scopes = [Scope("file")]
        self.log_ends = -1  # the index of the bracket that ends the enclosing log call
        self.assertion_ends = -1

    def matching_brackets(self) -> dict[int, int]:
        partner, open_ones = {}, []
        for index, token in enumerate(self.tokens):
            if token.kind != "mark":
                continue
            if token.text in CLOSING:
                open_ones.append(index)
            elif token.text in CLOSING.values() and open_ones:
                partner[open_ones[-1]] = index
                partner[index] = open_ones.pop()
        return partner

    # ---- looking around

    def at(self, index: int) -> str:
        return self.tokens[index].text if 0 <= index < len(self.tokens) else ""

    def spaced(self, index: int) -> bool:
        """Whether there is a space or a line end on both sides, as for a binary operator."""
        token = self.tokens[index]
        return self.text[token.start - 1:token.start].isspace() and self.text[token.end:token.end + 1].isspace()

    def function(self) -> Scope:
        return next((scope for scope in reversed(self.scopes) if scope.kind in ("function", "lambda")), Scope("file"))

    def function_name(self) -> str:
        return next((scope.name for scope in reversed(self.scopes) if scope.kind == "function"), "")

    # ---- recording mutants

    def add(self, kind: str, first: int, last: int, replacement: str, label: str) -> None:
        start, end = self.tokens[first].start, self.tokens[last].end
        self.add_span(kind, start, end, replacement, label)

    def add_span(self, kind: str, start: int, end: int, replacement: str, label: str) -> None:
        line = bisect_right(self.lines, start)
        following = self.lines[line] if line < len(self.lines) else len(self.text)
        source = self.text[self.lines[line - 1]:following].strip().replace("\t", " ")
        # Line numbers must not change.
        replacement += "\n" * (self.text.count("\n", start, end) - replacement.count("\n"))
        place = (self.function_name(), source, label)
        self.labels[place] = self.labels.get(place, 0) + 1
        if self.labels[place] > 1:
            label += f" #{self.labels[place]}"
        self.found.append(Mutant(self.file, place[0], line, source, kind, label, start, end, replacement))

    # ---- the walk

    def mutants(self) -> list[Mutant]:
        for index, token in enumerate(self.tokens):
            self.step_into(index)
            if index <= self.assertion_ends:
                continue
            if token.text == "static_assert":
                self.assertion_ends = self.partner.get(index + 1, index)
                continue
            if token.kind == "name" and token.text in LOG_CALLS and self.at(index + 1) == "(":
                self.log_ends = max(self.log_ends, self.partner.get(index + 1, index))
                self.add("log text", index, index, LOG_CALLS[token.text], f"{token.text} -> {LOG_CALLS[token.text]}")
            if self.in_code() and self.begins_statement(index):
                self.statement(index)
            self.tokens_own(index)
        return sorted(self.found, key=lambda mutant: (mutant.start, mutant.end, mutant.label))

    def in_code(self) -> bool:
        return self.scopes[-1].kind in ("function", "lambda", "block")

    def step_into(self, index: int) -> None:
        while len(self.scopes) > 1 and index > self.scopes[-1].closes:
            self.scopes.pop()
        if self.at(index) == "{" and index in self.partner:
            scope = self.scope_of(index)
            scope.closes = self.partner[index]
            self.scopes.append(scope)
            if scope.kind == "function":
                self.early_return(index, scope)

    def scope_of(self, index: int) -> Scope:
        before = self.at(index - 1)
        if self.in_code():
            if before == "]" or self.is_lambda(index) or self.has_arrow(index):
                return Scope("lambda")
            block = before in (")", "else", "do", "try", "{", "}", ";", ":")
            return Scope("block" if block else "list")
        if self.scopes[-1].kind in ("list", "enum"):
            return Scope("lambda" if before == "]" or self.is_lambda(index) else "list")
        head = self.head_of(index)
        words = [token.text for token in head]
        if words[:1] == ["namespace"] or words[:1] == ["extern"] and len(words) == 2:
            return Scope("namespace")
        if "enum" in words:
            return Scope("enum")
        if before in (")", "const", "noexcept", "override", "final", "}") or self.has_arrow(index):
            name, returns = self.signature(head)
            if name and "=" not in words[:1]:
                return Scope("function", name, returns)
        if any(word in words for word in ("class", "struct", "union")) and "=" not in words:
            return Scope("class")
        return Scope("list")

    def is_lambda(self, index: int) -> bool:
        """Whether the block at index is the body of a lambda with parameters."""
        index -= 1
        while self.at(index) in ("mutable", "noexcept"):
            index -= 1
        return self.at(index) == ")" and self.at(self.partner.get(index, 0) - 1) == "]"

    def has_arrow(self, index: int) -> bool:
        """Whether a return type follows the parameters: `) -> Type {`."""
        for back in range(index - 1, max(index - 12, 0), -1):
            if self.at(back) == "->":
                return self.at(back - 1) == ")"
            if self.tokens[back].kind != "name" and self.at(back) not in ("::", "<", ">", "*", "&", ","):
                return False
        return False

    def head_of(self, index: int) -> list[Token]:
        """The tokens of the declaration whose brace is at index."""
        first = index
        while first > 0 and self.at(first - 1) not in (";", "{"):
            if self.at(first - 1) == "}":
                opened = self.partner.get(first - 1, 0)
                # A member that a constructor initialises with braces is part of the head.
                if self.tokens[opened - 1].kind != "name" or self.at(opened - 2) not in (":", ","):
                    break
                first = opened
            first -= 1
        head = self.tokens[first:index]
        while len(head) > 1 and head[0].text in ("public", "private", "protected") and head[1].text == ":":
            head = head[2:]
        return head

    @staticmethod
    def signature(head: list[Token]) -> tuple[str, str | None]:
        """The function's name with its class and its return type, which is "" for a constructor."""
        index = 0
        if head and head[0].text == "template":
            depth = 0
            for index, token in enumerate(head):
                depth += (token.text == "<") - (token.text == ">")
                if index and depth == 0:
                    break
            index += 1
        words = [token for token in head[index:] if token.text not in SPECIFIERS]
        opening = next((at for at, token in enumerate(words) if token.text == "("), 0)
        first = opening - 1
        if opening == 0 or "=" in (token.text for token in words[:opening]):
            return "", None
        if "operator" in (token.text for token in words[:opening]):
            first = next(at for at, token in enumerate(words) if token.text == "operator")
        elif words[first].kind != "name":
            return "", None
        if first > 0 and words[first - 1].text == "~":
            first -= 1
        while first > 1 and words[first - 1].text == "::" and words[first - 2].kind == "name":
            first -= 2
        name = "".join(token.text for token in words[first:opening])
        return name, " ".join(token.text for token in words[:first])

    # ---- functions and statements

    def early_return(self, brace: int, scope: Scope) -> None:
        start = self.tokens[brace].end
        if scope.returns in ("void", ""):
            if self.at(brace + 1) != "}":
                self.add_span("early return", start, start, " return;", "begins with return")
        elif scope.returns == "bool":
            for value in ("true", "false"):
                self.add_span("early return", start, start, f" return {value};", f"begins with return {value}")
        elif scope.returns and not scope.returns.endswith("&"):
            self.add_span("early return", start, start, " return {};", "begins with return {}")

    def begins_statement(self, index: int) -> bool:
        before = self.at(index - 1)
        if before == ";":
            return self.tokens[index].text != ")" and not self.inside_parentheses(index)
        if before in ("{", "}"):
            return self.in_block_of(index - 1)
        if before == ":":
            return self.at(index - 2) == "default" or self.is_case_label(index - 1)
        return before == "else"

    def in_block_of(self, index: int) -> bool:
        opened = index if self.at(index) == "{" else self.partner.get(index, -1)
        return opened >= 0 and self.block_braces(opened)

    def block_braces(self, opened: int) -> bool:
        before = self.at(opened - 1)
        return before in (")", "]", "else", "do", "try", ";", "{", "}", ":", "const", "noexcept", "override",
                          "mutable") or self.has_arrow(opened)

    def inside_parentheses(self, index: int) -> bool:
        """Whether the semicolon before index is in the head of a for."""
        depth = 0
        for back in range(index - 2, -1, -1):
            text = self.at(back)
            if text in (")", "]", "}"):
                depth += 1
            elif text in ("(", "[", "{"):
                if depth == 0:
                    return text != "{"
                depth -= 1
        return False

    def is_case_label(self, colon: int) -> bool:
        for back in range(colon - 1, max(colon - 8, 0), -1):
            if self.at(back) == "case":
                return True
            if self.at(back) in (";", "{", "}", "?", "("):
                return False
        return False

    def statement(self, first: int) -> None:
        last = first
        while last < len(self.tokens) and self.at(last) != ";":
            if self.at(last) in CLOSING:
                last = self.partner.get(last, last)
            elif self.at(last) in CLOSING.values():
                return
            last += 1
        if last >= len(self.tokens):
            return
        word = self.at(first)
        if word == "return":
            self.return_statement(first, last)
        elif word in ("throw", "break"):
            self.add("early return", first, last, ";", f"{word} dropped")
        elif word == "continue":
            self.add("early return", first, last, "break;", "continue -> break")
        elif word == "delete" or word in ("++", "--") or self.is_call_or_assignment(first, last):
            self.add("dropped statement", first, last, ";", "dropped")

    def return_statement(self, first: int, last: int) -> None:
        if last == first + 1:
            self.add("early return", first, last, ";", "return dropped")
            return
        words = [token.text for token in self.tokens[first + 1:last]]
        value = self.text[self.tokens[first + 1].start:self.tokens[last - 1].end]
        returns = self.function().returns
        if returns == "bool":
            if not any(word in COMPARISONS or word in ("&&", "||", "!", "true", "false") for word in words):
                self.add("early return", first, last, f"return !({value});", "result negated")
        elif returns is not None and not returns.endswith("&") and len(words) + ("(" in words) > 1 or \
                returns not in (None, "bool") and self.tokens[first + 1].kind == "name" and len(words) == 1 and \
                words[0] not in ("nullptr", "true", "false") and not words[0].isupper():
            if words not in (["{", "}"], ["-", "1"]):
                self.add("early return", first, last, "return {};", "result emptied")

    def is_call_or_assignment(self, index: int, last: int) -> bool:
        """A chain of names, members, calls and indices that ends the statement or is assigned to."""
        if self.at(index) in KEYWORDS or (self.tokens[index].kind != "name" and self.at(index) not in ("::", "*")):
            return False
        if self.at(index) == "*":
            index += 1
        named = called = False
        while index < last:
            text, kind = self.at(index), self.tokens[index].kind
            if kind == "name":
                if named:
                    return False  # a declaration: a type and a name
                named = True
            elif text in ("::", ".", "->"):
                named = False
            elif text in ("(", "["):
                called = text == "(" or called
                index = self.partner.get(index, last)
            elif text == "<" and not self.spaced(index):
                index = self.angle_end(index)
                if index < 0 or self.at(index + 1) not in ("(", "::"):
                    return False
            elif text in ("++", "--"):
                called = True
            else:
                return text in ASSIGNMENTS
            index += 1
        return called

    def angle_end(self, index: int) -> int:
        depth = 0
        for at in range(index, min(index + 40, len(self.tokens))):
            text = self.at(at)
            depth += (text == "<") - (text == ">") - 2 * (text == ">>")
            if depth <= 0:
                return at
            if text in (";", "{", "}"):
                break
        return -1

    # ---- single tokens

    def tokens_own(self, index: int) -> None:
        token = self.tokens[index]
        text = token.text
        if token.kind == "mark":
            self.mark(index)
        elif token.kind == "text":
            if self.at(index - 1) != "extern":
                self.string(index)
        elif token.kind == "char":
            self.character(index)
        elif token.kind == "number":
            self.number(index)
        elif text in ("true", "false"):
            other = "false" if text == "true" else "true"
            self.add("constant", index, index, other, f"{text} -> {other}")
        elif text in ("if", "while") and self.in_code():
            self.condition(index)
        else:
            self.named_constant(index)

    def mark(self, index: int) -> None:
        text = self.at(index)
        if text in COMPARISONS and (text in ("==", "!=") or self.spaced(index)):
            if self.at(index - 1) != "operator":
                for other in COMPARISONS[text]:
                    self.add("comparison", index, index, other, f"{text} -> {other}")
        elif text in OPERATORS and self.spaced(index):
            beside = {self.tokens[index - 1].kind, self.tokens[index + 1].kind} if text in "+-" else set()
            if not beside & {"text", "char"}:  # string concatenation
                kind = "condition" if text in ("&&", "||") else "arithmetic"
                self.add(kind, index, index, OPERATORS[text], f"{text} -> {OPERATORS[text]}")
        elif text in STEPS and self.in_code():
            self.add("arithmetic", index, index, STEPS[text], f"{text} -> {STEPS[text]}")
        elif text == "!":
            # The space separates tokens that would otherwise merge.
            self.add("condition", index, index, " ", "! dropped")

    def condition(self, index: int) -> None:
        """A condition without an operator that another mutant would change."""
        opening = index + 1
        if self.at(opening) != "(" or opening not in self.partner:
            return
        inside = range(opening + 1, self.partner[opening])
        first = inside.start
        for at in inside:
            if self.at(at) == ";":
                first = at + 1
        words = [self.at(at) for at in range(first, inside.stop)]
        plain = not any(word in COMPARISONS and self.spaced(at) or word in ("!", "&&", "||", "=", "true", "false")
                        for at, word in zip(range(first, inside.stop), words))
        if words and plain:
            value = self.text[self.tokens[first].start:self.tokens[inside.stop - 1].end]
            self.add("condition", first, inside.stop - 1, f"!({value})", "condition negated")

    def number(self, index: int) -> None:
        text = self.at(index)
        parts = re.fullmatch(r"(0[xX][0-9A-Fa-f']+|\d+\.\d*|[\d']+)([A-Za-z]*)", text)
        if not parts:
            return
        digits, suffix = parts.groups()
        plain = digits.replace("'", "")
        if plain[:2] in ("0x", "0X"):
            other = hex(int(plain, 16) + 1)
        elif "." in plain:
            other = str(float(plain) + 1)
        else:
            other = "0" if plain == "1" else str(int(plain) + 1)
        self.add("constant", index, index, other + suffix, f"{text} -> {other}{suffix}")

    def character(self, index: int) -> None:
        text = self.at(index)
        prefix, inside = text[:text.index("'")], text[text.index("'") + 1:-1]
        other = {"\\\\": "/", "\\0": "x"}.get(inside)
        if other is None:
            other = chr(ord(inside) + 1) if len(inside) == 1 and inside not in "&[" else "x"
        self.add("constant", index, index, f"{prefix}'{other}'", f"{text} -> {prefix}'{other}'")

    def string(self, index: int) -> None:
        """Changes one letter in the middle; a text that is not for the log is also emptied."""
        text = self.at(index)
        kind = "log text" if index < self.log_ends else "string"
        opening = text.index('"') + 1
        body_from, body_to = opening, len(text) - 1
        if "R" in text[:opening]:
            body_from, body_to = text.index("(") + 1, text.rindex(")")
        body = text[body_from:body_to]
        letter = middle_letter(body)
        if not body:
            self.add(kind, index, index, text[:body_from] + "x" + text[body_to:], "text filled")
        elif letter < 0:
            self.add(kind, index, index, text[:body_from] + body + "x" + text[body_to:], "text lengthened")
        else:
            changed = body[:letter] + other_letter(body[letter]) + body[letter + 1:]
            self.add(kind, index, index, text[:body_from] + changed + text[body_to:], "letter changed")
        if body and kind == "string":
            self.add(kind, index, index, text[:body_from] + text[body_to:], "text emptied")

    def named_constant(self, index: int) -> None:
        text = self.at(index)
        name = text
        if self.at(index + 1) and self.tokens[index + 1].kind == "name":
            return  # a type
        if self.at(index - 1) == "::" and f"{self.at(index - 2)}::{text}" in self.constants:
            name = f"{self.at(index - 2)}::{text}"
        if name not in self.constants:
            return
        if not (self.in_code() or self.scopes[-1].kind == "list" or self.initialises(index)):
            return
        other = self.constants[name]
        short = other.split("::")[-1] if "::" in name else other
        self.add("constant", index, index, short, f"{name} -> {other}")

    def initialises(self, index: int) -> bool:
        """Whether the name follows the equals sign of a definition outside of functions."""
        back = index - 1
        while back >= 0 and self.at(back) not in (";", "{", "}"):
            if self.at(back) == "=":
                return True
            back -= 1
        return False


def middle_letter(body: str) -> int:
    """The position of the plain letter nearest to the middle, not part of an escape or of a placeholder such as %s."""
    taken = [span for match in re.finditer(r"\\(?:x[0-9A-Fa-f]+|.)|%[-+ #0-9.*]*(?:ll|[hlwI]|I64)?[a-zA-Z]", body)
             for span in range(match.start(), match.end())]
    letters = [at for at, character in enumerate(body) if character.isalnum() and at not in set(taken)]
    return min(letters, key=lambda at: abs(at - len(body) // 2)) if letters else -1


def other_letter(letter: str) -> str:
    if letter.isdigit():
        return str((int(letter) + 1) % 10)
    other = {"x": "y", "X": "Y"}.get(letter)
    return other or ("x" if letter.islower() else "X")


def mutants_of(file: str, text: str, constants: dict[str, str]) -> list[Mutant]:
    return Finder(file, text, constants).mutants()
