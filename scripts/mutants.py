# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Finds the small changes that can be made to a C++ source, over clang's syntax tree."""

import dataclasses
import difflib
import os
import re

from clang import cindex
from clang.cindex import CursorKind

COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "<<": ">>", ">>": "<<", "&": "|",
              "|": "&", "^": "&", "+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=", "|=": "&=",
              "&=": "|=", "<<=": ">>=", ">>=": "<<="}
CONDITIONAL = {CursorKind.IF_STMT: True, CursorKind.WHILE_STMT: False, CursorKind.DO_STMT: False,
               CursorKind.FOR_STMT: False, CursorKind.CONDITIONAL_OPERATOR: True}
FUNCTIONS = {CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.CONSTRUCTOR,
             CursorKind.DESTRUCTOR, CursorKind.FUNCTION_TEMPLATE, CursorKind.CONVERSION_FUNCTION}
LEFT_OUT = {CursorKind.CALL_EXPR, CursorKind.BINARY_OPERATOR, CursorKind.BREAK_STMT,
            CursorKind.COMPOUND_ASSIGNMENT_OPERATOR, CursorKind.UNARY_OPERATOR,
            CursorKind.CONTINUE_STMT, CursorKind.UNEXPOSED_EXPR}
# What only says something to a person who looks for an error.
LOGGING = re.compile(rb"\b(qC?(Debug|Info|Warning|Critical)|Q_ASSERT(_X)?|assert|Q_UNUSED)\b")
INTEGER = re.compile(r"(0[xX][0-9a-fA-F']+|[0-9][0-9']*)([uUlLzZ]*)$")


@dataclasses.dataclass(frozen=True)
class Mutant:
    """The bytes from start to end of a file replaced. The block is where the innermost braces around
    it begin, or None outside of functions."""
    file: str
    line: int
    start: int
    end: int
    text: str
    kind: str
    block: int | None

    def apply(self, source):
        return source[:self.start] + self.text.encode() + source[self.end:]

    def diff(self, source):
        before, after = (text.decode(errors="replace").splitlines(keepends=True)
                         for text in (source, self.apply(source)))
        return "".join(difflib.unified_diff(before, after, "a/" + self.file, "b/" + self.file, n=1))


def clang_arguments(command):
    """A compiler command as libclang takes it: without the compiler, its output and the source. A
    precompiled header is of another compiler; every source includes what it needs."""
    kept = []
    words = iter(command)
    # The compiler itself, its cache and what is set for that.
    for word in words:
        if os.path.basename(word) not in ("env", "ccache", "sccache") and "=" not in word:
            break
    for word in words:
        if word in ("-o", "-MF", "-MT", "-MQ", "-c"):
            next(words)
        elif word == "-include":
            header = next(words)
            if "cmake_pch" not in header:
                kept += [word, header]
        elif word not in ("-MD", "-MMD", "-Winvalid-pch"):
            kept.append(word)
    return [*kept, "-Wno-everything"]


class Finder:
    """Everything that can be changed in one file, and where its blocks of statements begin."""

    def __init__(self, name, path, source_path, directory, command):
        """The file `path` as `source_path`, the same or a source that includes it, sees it."""
        self.name = name
        self.path = os.path.realpath(path)
        with open(path, "rb") as file:
            self.source = file.read()
        self.found = []
        self.blocks = set()
        self.macros = []
        # Relative folders in the command are seen from where it is run.
        arguments = [*clang_arguments(command), f"-working-directory={directory}"]
        unit = cindex.Index.create().parse(
            source_path, arguments, options=cindex.TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD)
        errors = [each for each in unit.diagnostics if each.severity >= cindex.Diagnostic.Error]
        if errors:
            raise ValueError(f"{name}: clang cannot read it: {errors[0]}")
        for cursor in unit.cursor.get_children():
            if not self.is_here(cursor):
                continue
            if cursor.kind == CursorKind.MACRO_INSTANTIATION:
                self.macros.append(self.range_of(cursor))
            elif not cursor.kind.is_preprocessing():
                self.visit(cursor, None, None, None)
        # A body that is made by a macro or by the compiler has no braces of its own here.
        self.blocks = {block for block in self.blocks if self.source[block:block + 1] == b"{"}
        self.found = sorted({mutant for mutant in self.found if not self.in_macro(mutant)},
                            key=lambda mutant: (mutant.start, mutant.end, mutant.text))

    def is_here(self, cursor):
        file = cursor.location.file
        return file is not None and os.path.realpath(file.name) == self.path

    @staticmethod
    def range_of(cursor):
        return cursor.extent.start.offset, cursor.extent.end.offset

    def text_of(self, cursor):
        start, end = self.range_of(cursor)
        return self.source[start:end].decode(errors="replace")

    def in_macro(self, mutant):
        """Whether a change lies in a macro's use, or cuts one in two."""
        for start, end in self.macros:
            if mutant.start < end and start < max(mutant.end, mutant.start + 1):
                whole = mutant.start <= start and end <= mutant.end
                if not whole or (mutant.start, mutant.end) == (start, end):
                    return True
        return False

    def add(self, start, end, text, kind, block):
        line = self.source.count(b"\n", 0, start) + 1
        self.found.append(Mutant(self.name, line, start, end, text, kind, block))

    def visit(self, cursor, function, block, parent):
        kind = cursor.kind
        if kind in FUNCTIONS or kind == CursorKind.LAMBDA_EXPR:
            function, block = self.enter_function(cursor)
        elif kind == CursorKind.COMPOUND_STMT:
            if function and parent.kind != CursorKind.SWITCH_STMT:
                block = cursor.extent.start.offset
                self.blocks.add(block)
            self.leave_out_statements(cursor, block)
        elif kind in CONDITIONAL:
            self.change_condition(cursor, block)
        elif kind == CursorKind.BINARY_OPERATOR or kind == CursorKind.COMPOUND_ASSIGNMENT_OPERATOR:
            self.change_operator(cursor, block)
        elif kind == CursorKind.CALL_EXPR and cursor.spelling.startswith("operator"):
            self.change_overloaded(cursor, block)
        elif kind == CursorKind.UNARY_OPERATOR:
            self.change_unary(cursor, block)
        elif kind == CursorKind.INTEGER_LITERAL:
            self.change_integer(cursor, block)
        elif kind == CursorKind.CXX_BOOL_LITERAL_EXPR and self.text_of(cursor) in ("true", "false"):
            start, end = self.range_of(cursor)
            self.add(start, end, "false" if self.text_of(cursor) == "true" else "true", "constant",
                     block)
        elif kind == CursorKind.RETURN_STMT and function:
            self.change_return(cursor, block)
        elif kind == CursorKind.STATIC_ASSERT:
            return
        for child in cursor.get_children():
            self.visit(child, function, block, cursor)

    def enter_function(self, cursor):
        """The function, if its statements run when the program does, and the block of its body."""
        body = next((child for child in cursor.get_children()
                     if child.kind == CursorKind.COMPOUND_STMT), None)
        if body is None:
            return None, None
        start = body.extent.start.offset
        head = self.source[cursor.extent.start.offset:start]
        if re.search(rb"\bconst(expr|eval)\b", head):
            return None, None
        statements = list(body.get_children())
        if cursor.kind in (CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD) and statements:
            nothing = cursor.result_type.kind == cindex.TypeKind.VOID
            if nothing or len(statements) > 1 or statements[0].kind != CursorKind.RETURN_STMT:
                self.add(start + 1, start + 1, " return; " if nothing else " return {}; ",
                         "early return", start)
        return cursor, start

    def leave_out_statements(self, body, block):
        for child in body.get_children():
            start, end = self.range_of(child)
            if child.kind in LEFT_OUT and not LOGGING.match(self.source[start:end]):
                self.add(start, end, "", "left out", block)
            elif child.kind == CursorKind.RETURN_STMT and not list(child.get_children()):
                self.add(start, end, "", "left out", block)

    def change_condition(self, cursor, block):
        children = list(cursor.get_children())
        if cursor.kind == CursorKind.DO_STMT:
            condition = children[-1]
        elif cursor.kind == CursorKind.FOR_STMT:
            condition = next((child for child in children if self.is_condition_of_for(cursor, child)),
                             None)
        else:
            # An initialisation or a declared variable in front of the body is no expression.
            expressions = [child for child in children if child.kind.is_expression()]
            first = children[0]
            condition = expressions[0] if expressions and first == expressions[0] else None
        if condition is None or not condition.kind.is_expression():
            return
        start, end = self.range_of(condition)
        text = self.text_of(condition)
        self.add(start, end, f"!({text})", "negated", block)
        self.add(start, end, "false", "forced", block)
        # A loop that never ends only costs time.
        if CONDITIONAL[cursor.kind]:
            self.add(start, end, "true", "forced", block)

    def is_condition_of_for(self, loop, child):
        """The condition is what stands between the two semicolons of the loop's head."""
        start, end = self.range_of(child)
        before = self.source[loop.extent.start.offset:start].rstrip()
        return before.endswith(b";") and self.source[end:].lstrip().startswith(b";")

    def change_operator(self, cursor, block):
        children = list(cursor.get_children())
        if len(children) != 2:
            return
        left_end = children[0].extent.end.offset
        right_start = children[1].extent.start.offset
        operator = self.source[left_end:right_start].decode(errors="replace")
        self.replace_operator(operator, left_end, cursor, children, block)

    def replace_operator(self, operator, where, cursor, operands, block):
        word = operator.strip()
        start = where + operator.find(word)
        for table, kind in ((COMPARISONS, "comparison"), (ARITHMETIC, "arithmetic")):
            if word in table:
                self.add(start, start + len(word), table[word], kind, block)
        if word in ("&&", "||") and len(operands) == 2:
            begin, end = self.range_of(cursor)
            for operand in operands:
                self.add(begin, end, f"({self.text_of(operand)})", "operand", block)

    def change_overloaded(self, cursor, block):
        word = cursor.spelling.removeprefix("operator")
        # Reading from and writing to streams is no arithmetic.
        if word in ("<<", ">>", "&", "*"):
            return
        for child in cursor.get_children():
            if self.text_of(child) == word:
                self.replace_operator(word, child.extent.start.offset, cursor, [], block)
                return

    def change_unary(self, cursor, block):
        text = self.text_of(cursor)
        start, end = self.range_of(cursor)
        if text.startswith("!"):
            self.add(start, start + 1, "", "negated", block)
        elif text.startswith("-") and not text.startswith("--"):
            self.add(start, start + 1, "", "arithmetic", block)
        for operator, other in (("++", "--"), ("--", "++")):
            if text.startswith(operator):
                self.add(start, start + 2, other, "arithmetic", block)
            elif text.endswith(operator):
                self.add(end - 2, end, other, "arithmetic", block)

    def change_integer(self, cursor, block):
        match = INTEGER.match(self.text_of(cursor))
        if not match:
            return
        start, end = self.range_of(cursor)
        try:
            value = int(match[1].replace("'", ""), 0)
        except ValueError:
            return
        changed = [value + 1] + ([value - 1] if value > 0 else [])
        for other in changed:
            digits = hex(other) if match[1][:2] in ("0x", "0X") else str(other)
            self.add(start, end, digits + match[2], "constant", block)

    def change_return(self, cursor, block):
        value = next(iter(cursor.get_children()), None)
        if value is None or self.text_of(value) in ("{}", "false", "0", "nullptr"):
            return
        start, end = self.range_of(value)
        if self.text_of(value) == "true":
            return
        self.add(start, end, "{}", "return value", block)

    def with_probes(self, probe_header):
        """The source, telling of each block when it is reached first."""
        text = self.source
        for offset in sorted(self.blocks, reverse=True):
            text = (text[:offset + 1] + f' MUTATE_REACHED("{self.name}:{offset}\\n") '.encode()
                    + text[offset + 1:])
        return f'#include "{probe_header}"\n'.encode() + text
