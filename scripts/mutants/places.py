"""Finds the places where a source can be changed, with clang's parser, and says how.

What is left out, because a change there could not be switched at run time: whatever the compiler evaluates (constants
at namespace scope and in classes, static variables, constexpr and constant locals, static_assert, template arguments,
case labels, array sizes, enumerators, sizeof), and whatever a macro expands to. Where such a constant is used at run
time, the use is a place. A constexpr function is changed for the calls that are made at run time. Also left out:
operators that a class defines, string and character literals, and declarations without an initial value.
"""

import bisect
import collections
import dataclasses
import os
import re
import shlex

import clang.cindex as cindex
from clang.cindex import CursorKind as Kind, TypeKind

OPERATORS = {
    "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"], "==": ["!="], "!=": ["=="],
    "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["*"],
    "&&": ["||"], "||": ["&&"], "&": ["|"], "|": ["&"], "^": ["&"], "<<": [">>"], ">>": ["<<"],
    "+=": ["-="], "-=": ["+="], "*=": ["/="], "/=": ["*="], "%=": ["*="], "&=": ["|="], "|=": ["&="], "^=": ["&="],
    "<<=": [">>="], ">>=": ["<<="],
}
COMPARISONS = {"<", "<=", ">", ">=", "==", "!="}
LOGICAL = {"&&", "||"}
NUMBER = re.compile(r"(0[xX][0-9a-fA-F']+|[0-9][0-9']*)[uUlLzZ]*$|[0-9][0-9.]*$")

INTEGERS = {TypeKind.CHAR_U, TypeKind.UCHAR, TypeKind.USHORT, TypeKind.UINT, TypeKind.ULONG, TypeKind.ULONGLONG,
            TypeKind.CHAR_S, TypeKind.SCHAR, TypeKind.SHORT, TypeKind.INT, TypeKind.LONG, TypeKind.LONGLONG}
POINTERS = {TypeKind.POINTER, TypeKind.NULLPTR, TypeKind.CONSTANTARRAY, TypeKind.INCOMPLETEARRAY}
FUNCTIONS = {Kind.FUNCTION_DECL, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR, Kind.CONVERSION_FUNCTION,
             Kind.FUNCTION_TEMPLATE}
SCOPES = {Kind.NAMESPACE, Kind.LINKAGE_SPEC, Kind.UNEXPOSED_DECL, Kind.CLASS_DECL, Kind.STRUCT_DECL, Kind.UNION_DECL,
          Kind.CLASS_TEMPLATE, Kind.CLASS_TEMPLATE_PARTIAL_SPECIALIZATION}
CASTS = {Kind.CXX_STATIC_CAST_EXPR, Kind.CXX_REINTERPRET_CAST_EXPR, Kind.CXX_CONST_CAST_EXPR,
         Kind.CXX_DYNAMIC_CAST_EXPR, Kind.CXX_FUNCTIONAL_CAST_EXPR, Kind.CSTYLE_CAST_EXPR}
CONSTANT = {Kind.CXX_UNARY_EXPR, Kind.STATIC_ASSERT, Kind.ENUM_DECL, Kind.TYPE_REF, Kind.TEMPLATE_REF,
            Kind.NAMESPACE_REF, Kind.DECL_REF_EXPR, Kind.OVERLOADED_DECL_REF, Kind.TYPEDEF_DECL,
            Kind.TYPE_ALIAS_DECL}
DROPPED = {Kind.CALL_EXPR, Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR, Kind.UNARY_OPERATOR,
           Kind.UNEXPOSED_EXPR, Kind.CXX_DELETE_EXPR, Kind.CXX_STATIC_CAST_EXPR}


@dataclasses.dataclass(frozen=True)
class Change:
    """One way to change a place. `form` says how both stand in the mutated source: see rewrite.py."""
    form: str   # value, condition, statement or jump
    text: str   # what is shown
    code: str = ""  # what a value becomes, where that is not the text


@dataclasses.dataclass
class Place:
    file: str
    start: int
    end: int
    function: str
    category: str
    changes: list
    before: str = ""      # the lines of the place, in one
    occurrence: int = 1   # among places of the function that read alike

    around: tuple = ()    # the same lines, up to the place and after it

    def after(self, change):
        return plain(self.around[0] + change.text + self.around[1])

    def lines(self, text):
        """The numbers of the lines that it stands in."""
        first = text.count("\n", 0, self.start) + 1
        return range(first, first + text.count("\n", self.start, self.end) + 1)

    def set_lines(self, text):
        first = text.rfind("\n", 0, self.start) + 1
        last = text.find("\n", self.end)
        last = len(text) if last < 0 else last
        self.around = (text[first:self.start], text[self.end:last])
        self.before = plain(text[first:last])


def plain(text):
    """Text in one line, without comments."""
    return " ".join(re.sub(r"//.*|/\*.*?\*/", " ", text).split())


class Finder:
    """Collects the places of one parsed source and its headers."""

    def __init__(self, root, folders):
        self.root = root
        self.folders = folders
        self.texts = {}
        self.places = {}

    def parse(self, path, arguments):
        unit = cindex.Index.create().parse(
            path, args=arguments, options=cindex.TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD)
        errors = [str(issue) for issue in unit.diagnostics if issue.severity >= cindex.Diagnostic.Error]
        if errors:
            raise RuntimeError("clang cannot parse " + path + ":\n" + "\n".join(errors))
        self.macros = collections.defaultdict(list)
        declarations = []
        for cursor in unit.cursor.get_children():
            file = self.own_file(cursor)
            if file is None:
                continue
            if cursor.kind == Kind.MACRO_INSTANTIATION:
                self.macros[file].append((cursor.extent.start.offset, cursor.extent.end.offset))
            elif not cursor.kind.is_preprocessing():
                declarations.append((file, cursor))
        for ranges in self.macros.values():
            ranges.sort()
        for file, cursor in declarations:
            self.file = file
            self.text = self.texts[file]
            self.function = ""
            self.declaration(cursor)

    def own_file(self, cursor):
        """The cursor's file within the folders, relative to the root; else None."""
        if cursor.location.file is None:
            return None
        file = os.path.relpath(os.path.realpath(cursor.location.file.name), self.root)
        if file.split(os.sep)[0] not in self.folders:
            return None
        if file not in self.texts:
            with open(os.path.join(self.root, file), "rb") as stream:
                self.texts[file] = stream.read().decode("ascii")  # so that clang's offsets are Python's
        return file

    # Declarations

    def declaration(self, cursor):
        if cursor.kind in SCOPES:
            for child in cursor.get_children():
                self.declaration(child)
        elif cursor.kind in FUNCTIONS:
            self.function = qualified_name(cursor)
            for child in cursor.get_children():
                is_body = child.kind in (Kind.COMPOUND_STMT, Kind.CXX_TRY_STMT)
                if is_body or (cursor.kind == Kind.CONSTRUCTOR and child.kind.is_expression()):
                    self.visit(child)
        elif cursor.kind == Kind.FIELD_DECL:
            self.function = qualified_name(cursor.semantic_parent)
            self.variable(cursor)

    def variable(self, cursor):
        name_at = cursor.location.offset
        if re.search(r"\b(constexpr|static)\b", self.text[cursor.extent.start.offset:name_at]):
            return
        children = list(cursor.get_children())
        if is_constant(cursor.type) and not any(needs_run_time(child) for child in children):
            return
        for child in children:
            at = child.extent.start.offset
            between = self.text[name_at:at]
            if at > name_at and not ("[" in between and "=" not in between):  # no array size
                self.visit(child)

    # Statements and expressions

    def visit(self, cursor):
        kind = cursor.kind
        start, end = cursor.extent.start.offset, cursor.extent.end.offset
        if kind in (Kind.VAR_DECL, Kind.PARM_DECL):
            return self.variable(cursor)
        children = list(cursor.get_children())
        if self.in_macro(start):
            return None
        if kind == Kind.DECL_REF_EXPR:
            self.use_of_constant(cursor, start, end)
        if kind in CONSTANT:
            return None
        if kind in (Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR) and len(children) == 2:
            self.binary(children, start, end)
        elif kind == Kind.UNARY_OPERATOR and len(children) == 1:
            self.unary(cursor, children[0], start, end)
        elif kind in (Kind.INTEGER_LITERAL, Kind.FLOATING_LITERAL):
            self.number(start, end)
        elif kind == Kind.CXX_BOOL_LITERAL_EXPR:
            self.add("constant", start, end, [Change("value", {"true": "false"}.get(self.text[start:end], "true"))])
        elif kind == Kind.CONDITIONAL_OPERATOR:
            self.condition(children[0])
        elif kind == Kind.RETURN_STMT and children:
            self.returned(children[0])
        elif kind in (Kind.BREAK_STMT, Kind.CONTINUE_STMT):
            self.add("statement", start, end, [Change("jump", "")])
        self.statements(cursor, children)
        for child in self.evaluated(cursor, children):
            self.visit(child)

    def statements(self, cursor, children):
        """Conditions and statements directly below a statement."""
        kind = cursor.kind
        conditions, bodies = [], []
        if kind in (Kind.COMPOUND_STMT, Kind.DEFAULT_STMT):
            bodies = children
        elif kind == Kind.CASE_STMT:
            bodies = children[1:]
        elif kind in (Kind.IF_STMT, Kind.WHILE_STMT, Kind.SWITCH_STMT):
            at = next((i for i, child in enumerate(children)
                       if child.kind.is_expression() and self.following(child) == ")"), None)
            if at is not None:
                conditions, bodies = [children[at]], children[at + 1:]
            if kind == Kind.SWITCH_STMT:
                conditions = []
        elif kind == Kind.DO_STMT:
            bodies, conditions = children[:1], children[1:]
        elif kind == Kind.FOR_STMT:
            begin = cursor.extent.start.offset
            conditions = [child for child in children[:-1] if child.kind.is_expression()
                          and self.text.count(";", begin, child.extent.start.offset) == 1]
            bodies = children[-1:]
        elif kind == Kind.CXX_FOR_RANGE_STMT:
            bodies = children[-1:]
        for condition in conditions:
            self.condition(condition)
        for body in bodies:
            if body.kind in DROPPED and self.following(body) == ";":
                self.add("statement", body.extent.start.offset, body.extent.end.offset, [Change("statement", "")])

    def evaluated(self, cursor, children):
        """The children whose values are formed at run time."""
        kind = cursor.kind
        if kind == Kind.CASE_STMT:
            return children[1:]
        if kind == Kind.IF_STMT and re.match(r"if\s+constexpr", self.text[cursor.extent.start.offset:]):
            return children[1:]
        if kind in CASTS:
            return children[-1:]
        if kind == Kind.MEMBER_REF_EXPR:  # template arguments follow the name
            return [child for child in children if child.extent.end.offset <= cursor.location.offset]
        if kind == Kind.LAMBDA_EXPR:
            return [child for child in children if child.kind == Kind.COMPOUND_STMT]
        return children

    def binary(self, children, start, end):
        left, right = children
        left_end, right_start = left.extent.end.offset, right.extent.start.offset
        if left_end >= right_start:
            return
        operator = plain(self.text[left_end:right_start])
        kinds = [side.type.get_canonical().kind for side in children]
        if operator not in OPERATORS:
            return
        if operator not in COMPARISONS and operator not in LOGICAL and any(kind in POINTERS for kind in kinds):
            return
        if "RECORD" in str(kinds):
            return
        before, after = self.text[start:left_end], self.text[right_start:end]
        self.add("operator", start, end,
                 [Change("value", f"{before} {other} {after}") for other in OPERATORS[operator]])

    def unary(self, cursor, child, start, end):
        inner_start, inner_end = child.extent.start.offset, child.extent.end.offset
        operand = self.text[inner_start:inner_end]
        prefix, suffix = self.text[start:inner_start].strip(), self.text[inner_end:end].strip()
        if prefix in ("!", "-", "~"):
            form = "condition" if prefix == "!" else "value"
            self.add("operator", start, end, [Change(form, operand)])
        elif prefix in ("++", "--"):
            self.add("operator", start, end, [Change("value", {"++": "--", "--": "++"}[prefix] + operand)])
        elif suffix in ("++", "--"):
            self.add("operator", start, end, [Change("value", operand + {"++": "--", "--": "++"}[suffix])])

    def number(self, start, end):
        text = self.text[start:end]
        if NUMBER.match(text):
            texts = [f"({text} + 1)", f"({text} - 1)"] + ([] if text.strip("0xulUL.'") == "" else ["0"])
            self.add("constant", start, end, [Change("value", other) for other in texts])

    def use_of_constant(self, cursor, start, end):
        target = cursor.referenced
        if target is None or target.kind != Kind.VAR_DECL or not is_constant(target.type):
            return
        if target.semantic_parent.kind not in SCOPES | {Kind.TRANSLATION_UNIT}:
            return
        name = self.text[start:end]
        self.add("constant", start, end,
                 [Change("value", f"({name} {sign} 1)", f"KrMutantSum({name}, {sign}1)") for sign in "+-"])

    def condition(self, cursor):
        inner = core(cursor)
        if inner.kind == Kind.CXX_BOOL_LITERAL_EXPR:
            return
        start, end = inner.extent.start.offset, inner.extent.end.offset
        if inner.kind == Kind.UNARY_OPERATOR and self.text[start] == "!":
            return  # the operator is dropped
        if inner.kind == Kind.BINARY_OPERATOR:
            sides = list(inner.get_children())
            if plain(self.text[sides[0].extent.end.offset:sides[1].extent.start.offset]) in COMPARISONS:
                return  # the comparison is turned round
        start, end = cursor.extent.start.offset, cursor.extent.end.offset
        self.add("condition", start, end, [Change("condition", f"!({self.text[start:end]})")])

    def returned(self, cursor):
        inner = core(cursor)
        if inner.kind in (Kind.CXX_BOOL_LITERAL_EXPR, Kind.INTEGER_LITERAL, Kind.CONDITIONAL_OPERATOR,
                          Kind.CXX_NULL_PTR_LITERAL_EXPR):
            return
        start, end = cursor.extent.start.offset, cursor.extent.end.offset
        kind = cursor.type.get_canonical().kind
        if kind == TypeKind.BOOL:
            self.condition(cursor)
        elif kind in INTEGERS:
            self.add("returned", start, end, [Change("value", "0")])
        elif kind == TypeKind.POINTER:
            self.add("returned", start, end, [Change("value", "nullptr")])

    # Helpers

    def following(self, cursor):
        """The character after the cursor's text."""
        rest = self.text[cursor.extent.end.offset:]
        return rest.lstrip()[:1]

    def in_macro(self, start):
        ranges = self.macros[self.file]
        at = bisect.bisect(ranges, (start, len(self.text))) - 1
        return at >= 0 and ranges[at][0] <= start < ranges[at][1]

    def add(self, category, start, end, changes):
        key = (self.file, start, end, category)
        if start >= end or key in self.places or self.in_macro(start):
            return
        self.places[key] = Place(self.file, start, end, self.function, category, changes)


def core(cursor):
    """What stands in brackets and implicit conversions."""
    while cursor.kind in (Kind.UNEXPOSED_EXPR, Kind.PAREN_EXPR):
        children = list(cursor.get_children())
        if len(children) != 1:
            break
        cursor = children[0]
    return cursor


def is_constant(type_):
    canonical = type_.get_canonical()
    return canonical.is_const_qualified() and (canonical.kind in INTEGERS or canonical.kind == TypeKind.BOOL)


def needs_run_time(cursor):
    """Whether the value of an initialiser surely depends on something that is known at run time only."""
    if cursor.kind in (Kind.CALL_EXPR, Kind.MEMBER_REF_EXPR, Kind.CXX_THIS_EXPR, Kind.ARRAY_SUBSCRIPT_EXPR):
        return True
    if cursor.kind == Kind.DECL_REF_EXPR and cursor.referenced is not None:
        if cursor.referenced.kind in (Kind.PARM_DECL, Kind.VAR_DECL) and not is_constant(cursor.referenced.type):
            return True
        if cursor.referenced.kind == Kind.PARM_DECL:
            return True
    return any(needs_run_time(child) for child in cursor.get_children())


def qualified_name(cursor):
    names = []
    while cursor is not None and cursor.kind in FUNCTIONS | SCOPES:
        if cursor.spelling and cursor.kind != Kind.NAMESPACE:
            names.append(cursor.spelling)
        cursor = cursor.semantic_parent
    return "::".join(reversed(names))


def parse_one(job):
    root, folders, path, arguments = job
    finder = Finder(root, folders)
    finder.parse(path, arguments)
    return finder.texts, finder.places


def arguments_of(entry):
    """What clang's parser needs of a compile command."""
    words = shlex.split(entry["command"]) if "command" in entry else entry["arguments"]
    kept, take = [], False
    for word in words[1:]:
        if take or re.match(r"-(I|D|std=|isystem)", word):
            kept.append(word)
            take = word in ("-I", "-D", "-isystem")
    return kept + ["-xc++", "-w"]


def find_places(root, folders, commands, pool):
    """All places of the sources in `commands` (path and arguments), and the texts of their files."""
    texts, places = {}, {}
    jobs = [(root, folders, path, arguments) for path, arguments in commands]
    for some_texts, some_places in pool.map(parse_one, jobs):
        texts.update(some_texts)
        for key, place in some_places.items():
            places.setdefault(key, place)
    seen = collections.Counter()
    ordered = [places[key] for key in sorted(places)]
    for place in ordered:
        place.set_lines(texts[place.file])
        alike = (place.file, place.function, place.category, place.before, texts[place.file][place.start:place.end])
        seen[alike] += 1
        place.occurrence = seen[alike]
    return texts, ordered
