"""Finds the places where a deliberate mistake can be made, with libclang.

A mutant is one mistake: one or more parts of a source file with the text that takes their place. Operators:

  condition    a condition negated; && for || and the other way round; one operand of && or || dropped
  bound        < for <=, > for >=, == for !=, and the other way round
  constant     a number or a character one more and one less; true for false; an enumerator for its neighbour
  text         a string literal emptied; one with a byte more
  arithmetic   + for -, * for /, & for |, << for >>, ++ for --, += for -=, |= for =, and the other way round
  deletion     a statement left out
  order        two neighbouring calls exchanged
  arguments    two neighbouring arguments of the same type exchanged
  return       another value returned: the negated one, 0, one more, null, an empty object
  member       a record's member for its neighbour of the same type
  entry        a row of a table of entry points left out, or exchanged with the next
"""
import os
import re
import sys
from dataclasses import dataclass
from pathlib import Path

# Debian's package python3-clang, also for an interpreter that is not Debian's.
sys.path.append('/usr/lib/python3/dist-packages')
from clang import cindex  # noqa: E402
from clang.cindex import CursorKind, TypeKind  # noqa: E402


@dataclass
class Part:
    start: int
    end: int
    form: str  # 'expression', 'deleted', 'statement' or 'variable'
    text: str  # what takes its place


@dataclass
class Mutant:
    file: str  # relative to the project
    line: int
    operator: str
    source: str  # the line, for people and for the list of equivalents
    before: str
    after: str
    parts: list
    switched: bool = True  # false: cannot be chosen at run time, needs a build of its own
    number: int = -1
    occurrence: int = 1  # of the same mistake in the same line text
    digest: str = ''

    def key(self):
        base = f'{self.file} | {self.operator} | {self.source} | {self.before} -> {self.after}'
        return base if self.occurrence == 1 else f'{base} | {self.occurrence}'


INTEGERS = {TypeKind.INT, TypeKind.UINT, TypeKind.LONG, TypeKind.ULONG, TypeKind.LONGLONG, TypeKind.ULONGLONG,
            TypeKind.SHORT, TypeKind.USHORT, TypeKind.UCHAR, TypeKind.SCHAR, TypeKind.CHAR_S, TypeKind.ENUM}
BOUNDS = {'<': '<=', '<=': '<', '>': '>=', '>=': '>', '==': '!=', '!=': '=='}
ARITHMETIC = {'+': '-', '-': '+', '*': '/', '/': '*', '%': '/', '&': '|', '|': '&', '<<': '>>', '>>': '<<', '^': '&',
              '+=': '-=', '-=': '+=', '|=': '=', '&=': '|=', '*=': '/=', '/=': '*=', '<<=': '>>=', '>>=': '<<='}
TRANSPARENT = {CursorKind.UNEXPOSED_EXPR, CursorKind.PAREN_EXPR}
LOOPS = {CursorKind.FOR_STMT, CursorKind.WHILE_STMT, CursorKind.DO_STMT, CursorKind.CXX_FOR_RANGE_STMT}
JUMPS = {CursorKind.RETURN_STMT, CursorKind.BREAK_STMT, CursorKind.CONTINUE_STMT}


def one_line(text):
    text = re.sub(r'//[^\n]*', ' ', text)
    text = re.sub(r'/\*.*?\*/', ' ', text, flags=re.S)
    return re.sub(r'\s+', ' ', text).strip()


class SourceFile:
    """The mutants of one file. Offsets are bytes, hence Latin-1."""

    def __init__(self, project, path):
        self.path = str(path)
        self.name = str(Path(path).relative_to(project))
        self.text = Path(path).read_bytes().decode('latin-1')
        self.lines = self.text.split('\n')
        self.mutants = []
        self._seen = set()

    def between(self, start, end):
        return self.text[start:end]

    def line_of(self, offset):
        return self.text.count('\n', 0, offset) + 1

    def add(self, operator, parts, before=None, after=None, switched=True):
        parts = sorted(parts, key=lambda part: part.start)
        first = parts[0]
        identity = tuple((p.start, p.end, p.form, one_line(p.text)) for p in parts)
        if identity in self._seen:
            return
        self._seen.add(identity)
        line = self.line_of(first.start)
        before = one_line(self.between(first.start, first.end)) if before is None else one_line(before)
        after = one_line(first.text) if after is None else one_line(after)
        self.mutants.append(Mutant(self.name, line, operator, self.lines[line - 1].strip(), before, after, parts, switched))

    def expression(self, operator, start, end, text, switched=True):
        self.add(operator, [Part(start, end, 'expression', one_line(text))], switched=switched)


def extent(cursor):
    return cursor.extent.start.offset, cursor.extent.end.offset


def unwrapped(cursor):
    while cursor.kind in TRANSPARENT:
        children = list(cursor.get_children())
        if len(children) != 1:
            break
        cursor = children[0]
    return cursor


class Finder:
    def __init__(self, source):
        self.source = source
        self._real = {}

    def text(self, cursor):
        return self.source.between(*extent(cursor))

    def mine(self, cursor):
        file = cursor.location.file
        if file is None:
            return False
        if file.name not in self._real:  # a header may be reached through a link
            self._real[file.name] = os.path.realpath(file.name)
        return self._real[file.name] == self.source.path

    # -- walking ------------------------------------------------------------------------------------------------------

    def visit(self, cursor, constant=False):
        kind = cursor.kind
        if kind in (CursorKind.STATIC_ASSERT, CursorKind.ASM_STMT, CursorKind.ENUM_CONSTANT_DECL) or str(kind).endswith('ASM_STMT'):
            return
        if kind == CursorKind.VAR_DECL:
            head = self.text(cursor).split('=')[0].split('{')[0]
            constant = constant or 'constexpr' in head
        if kind == CursorKind.CASE_STMT:
            children = list(cursor.get_children())
            self.visit(children[0], True)
            for child in children[1:]:
                self.visit(child, constant)
            return
        handler = {
            CursorKind.IF_STMT: self.if_statement, CursorKind.WHILE_STMT: self.while_statement,
            CursorKind.FOR_STMT: self.for_statement, CursorKind.CONDITIONAL_OPERATOR: self.conditional,
            CursorKind.BINARY_OPERATOR: self.binary, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR: self.binary,
            CursorKind.UNARY_OPERATOR: self.unary, CursorKind.INTEGER_LITERAL: self.integer,
            CursorKind.CHARACTER_LITERAL: self.character, CursorKind.CXX_BOOL_LITERAL_EXPR: self.boolean,
            CursorKind.STRING_LITERAL: self.string, CursorKind.RETURN_STMT: self.returned,
            CursorKind.CALL_EXPR: self.call, CursorKind.MEMBER_REF_EXPR: self.member,
            CursorKind.DECL_REF_EXPR: self.enumerator, CursorKind.COMPOUND_STMT: self.block,
        }.get(kind)
        if handler is not None and self.mine(cursor):
            handler(cursor, not constant)
        for child in cursor.get_children():
            self.visit(child, constant)

    # -- conditions ---------------------------------------------------------------------------------------------------

    def negated(self, cursor, switched):
        start, end = extent(cursor)
        if cursor.kind == CursorKind.BINARY_OPERATOR and self.operator_of(cursor) in ('==', '!='):
            return  # a bound's mutant already
        if end > start:
            self.source.expression('condition', start, end, f'!({self.text(cursor)})', switched)

    def condition_with_variable(self, variable, switched):
        start, end = extent(variable)
        name = variable.spelling
        self.source.add('condition', [Part(start, end, 'variable', name)], name, f'!{name}', switched)

    def if_statement(self, cursor, switched):
        children = list(cursor.get_children())
        if children[0].kind == CursorKind.VAR_DECL:
            self.condition_with_variable(children[0], switched)
        else:
            self.negated(children[0], switched)
        self.bodies([child for child in children[1:] if self.is_statement(child)], switched)

    def while_statement(self, cursor, switched):
        children = list(cursor.get_children())
        self.negated(children[0], switched)
        self.bodies(children[1:], switched)

    def for_statement(self, cursor, switched):
        start, _ = extent(cursor)
        first = self.source.text.index(';', start)
        second = self.source.text.index(';', first + 1)
        children = list(cursor.get_children())
        for child in children:
            if first < child.extent.start.offset < second:
                self.negated(child, switched)
        self.bodies(children[-1:], switched)

    def conditional(self, cursor, switched):
        self.negated(list(cursor.get_children())[0], switched)

    def operator_of(self, cursor):
        children = list(cursor.get_children())
        if len(children) != 2:
            return None
        between = self.source.between(children[0].extent.end.offset, children[1].extent.start.offset)
        return one_line(between)

    def binary(self, cursor, switched):
        symbol = self.operator_of(cursor)
        if symbol is None:
            return
        left, right = (self.text(child) for child in cursor.get_children())
        start, end = extent(cursor)
        if symbol in ('&&', '||'):
            other = '||' if symbol == '&&' else '&&'
            self.source.expression('condition', start, end, f'({left}) {other} ({right})', switched)
            self.source.expression('condition', start, end, left, switched)
            self.source.expression('condition', start, end, right, switched)
        elif symbol in BOUNDS:
            self.source.expression('bound', start, end, f'{left} {BOUNDS[symbol]} {right}', switched)
        elif symbol in ARITHMETIC:
            self.source.expression('arithmetic', start, end, f'{left} {ARITHMETIC[symbol]} {right}', switched)

    def unary(self, cursor, switched):
        start, end = extent(cursor)
        inner_start, inner_end = extent(list(cursor.get_children())[0])
        inner = self.source.between(inner_start, inner_end)
        before, after = self.source.between(start, inner_start), self.source.between(inner_end, end)
        other = {'++': '--', '--': '++', '': ''}
        if {before, after} in ({'++', ''}, {'--', ''}):
            self.source.expression('arithmetic', start, end, other[before] + inner + other[after], switched)

    # -- constants and texts ------------------------------------------------------------------------------------------

    def integer(self, cursor, switched):
        text = self.text(cursor)
        if not re.fullmatch(r"[\w']+", text):
            return
        start, end = extent(cursor)
        if self.source.text[:start].rstrip().endswith('['):
            switched = False
        self.source.expression('constant', start, end, f'{text} + 1', switched)
        self.source.expression('constant', start, end, f'{text} - 1', switched)

    def character(self, cursor, switched):
        text = self.text(cursor)
        if not text.startswith("'"):
            return
        for step in ('+', '-'):
            self.source.expression('constant', *extent(cursor), f'static_cast<char>({text} {step} 1)', switched)

    def boolean(self, cursor, switched):
        text = self.text(cursor)
        if text in ('true', 'false'):
            self.source.expression('constant', *extent(cursor), 'false' if text == 'true' else 'true', switched)

    def enumerator(self, cursor, switched):
        target = cursor.referenced
        text = self.text(cursor)
        if target is None or target.kind != CursorKind.ENUM_CONSTANT_DECL or not re.fullmatch(r'[\w:]+', text):
            return
        siblings = [c.spelling for c in target.semantic_parent.get_children() if c.kind == CursorKind.ENUM_CONSTANT_DECL]
        if len(siblings) > 1:
            other = siblings[(siblings.index(target.spelling) + 1) % len(siblings)]
            self.source.expression('constant', *extent(cursor), re.sub(r'\w+$', other, text), switched)

    def string(self, cursor, switched):
        text = self.text(cursor)
        if not (text.startswith('"') and text.endswith('"')):
            return
        longer = text[:-1] + '~"'
        self.source.add('text', [Part(*extent(cursor), 'literal', longer)], switched=switched)
        if text != '""':
            self.source.add('text', [Part(*extent(cursor), 'literal', '""')], switched=switched)

    # -- calls, members, returns --------------------------------------------------------------------------------------

    def call(self, cursor, switched):
        arguments = [a for a in cursor.get_arguments() if a is not None]
        if cursor.spelling.startswith('operator') or len(arguments) < 2:
            return
        for left, right in zip(arguments, arguments[1:]):
            if not (self.mine(left) and self.mine(right)) or extent(left)[1] > extent(right)[0]:
                continue
            texts = self.text(left), self.text(right)
            kinds = [self.argument_type(a) for a in (left, right)]
            if kinds[0] != kinds[1] or texts[0] == texts[1] or any(t.startswith(('{', '[')) for t in texts):
                continue
            self.source.add('arguments', [Part(*extent(left), 'expression', one_line(texts[1])),
                                          Part(*extent(right), 'expression', one_line(texts[0]))],
                            ', '.join(texts), ', '.join(reversed(texts)), switched)

    @staticmethod
    def argument_type(argument):
        spelling = argument.type.get_canonical().spelling
        kind = argument.type.get_canonical().kind
        if kind in INTEGERS:
            return 'integer'
        if re.fullmatch(r'(const )?char( const)?( ?\*|\[\d+\])', spelling):
            return 'text'
        return spelling.replace('const ', '')

    def member(self, cursor, switched):
        target = cursor.referenced
        if target is None or target.kind != CursorKind.FIELD_DECL:
            return
        text = self.text(cursor)
        name = target.spelling
        if not text.endswith(name):
            return
        record = target.semantic_parent
        wanted = target.type.get_canonical().spelling
        siblings = [c.spelling for c in record.get_children()
                    if c.kind == CursorKind.FIELD_DECL and c.type.get_canonical().spelling == wanted and c.spelling]
        if len(siblings) < 2:
            return
        index = siblings.index(name)
        for other in {siblings[(index + 1) % len(siblings)], siblings[index - 1]}:
            self.source.expression('member', *extent(cursor), text[:-len(name)] + other, switched)

    def returned(self, cursor, switched):
        children = list(cursor.get_children())
        if not children or not self.text(cursor).startswith('return'):
            return
        value = children[0]
        text = self.text(value)
        bare = unwrapped(value)
        type_ = bare.type.get_canonical() if value.type.kind == TypeKind.DEPENDENT else value.type.get_canonical()
        start, end = extent(value)
        if text.startswith('{') or end <= start:
            return
        if bare.type.get_canonical().kind == TypeKind.BOOL:
            if bare.kind != CursorKind.CXX_BOOL_LITERAL_EXPR:
                self.source.expression('return', start, end, f'!({text})', switched)
        elif type_.kind in INTEGERS:
            if not re.fullmatch(r'-?\w+', text) or not text.lstrip('-')[0].isdigit():
                self.source.expression('return', start, end, '0', switched)
                self.source.expression('return', start, end, f'({text}) + 1', switched)
        elif type_.kind == TypeKind.POINTER:
            if text != 'nullptr':
                self.source.expression('return', start, end, f'static_cast<{type_.spelling}>(nullptr)', switched)
        elif type_.kind == TypeKind.RECORD:
            self.source.expression('return', start, end, f'std::decay_t<decltype({text})>()', switched)

    # -- statements ---------------------------------------------------------------------------------------------------

    @staticmethod
    def is_statement(cursor):
        return cursor.kind.is_expression() or cursor.kind.is_statement()

    def whole_statement(self, cursor):
        """The extent with the semicolon, or none for what is no simple statement."""
        if not (cursor.kind.is_expression() or cursor.kind in JUMPS) or not self.mine(cursor):
            return None
        start, end = extent(cursor)
        rest = self.source.text[end:]
        if end <= start or not re.match(r'\s*;', rest):
            return None
        return start, end + rest.index(';') + 1

    def bodies(self, statements, switched):
        for statement in statements:
            if statement.kind != CursorKind.COMPOUND_STMT:
                self.deletion(statement, switched)

    def deletion(self, statement, switched):
        range_ = self.whole_statement(statement)
        if range_ is None:
            return
        text = self.source.between(*range_)
        self.source.add('deletion', [Part(*range_, 'deleted', '')], text, ';', switched)

    def block(self, cursor, switched):
        statements = list(cursor.get_children())
        for index, statement in enumerate(statements):
            last = index == len(statements) - 1
            # The value that a function returns at its end cannot be left out, only changed.
            if statement.kind == CursorKind.RETURN_STMT and last and list(statement.get_children()):
                continue
            self.deletion(statement, switched)
        for first, second in zip(statements, statements[1:]):
            ranges = self.whole_statement(first), self.whole_statement(second)
            if None in ranges or not all(self.acts(s) for s in (first, second)):
                continue
            texts = [self.source.between(*r) for r in ranges]
            if texts[0] != texts[1]:
                self.source.add('order', [Part(*ranges[0], 'statement', one_line(texts[1])),
                                          Part(*ranges[1], 'statement', one_line(texts[0]))],
                                ' '.join(texts), ' '.join(reversed(texts)), switched)

    @staticmethod
    def acts(statement):
        cursor = unwrapped(statement)
        return cursor.kind in (CursorKind.CALL_EXPR, CursorKind.CXX_DELETE_EXPR) and not (
            cursor.spelling == 'operator=')


def table_mutants(source):
    """Rows of a table in C: [SLOT] = ENTRY, one to a line."""
    rows = list(re.finditer(r'^ *(\[\w+\] = )(SLOT\(\w+\)),\n', source.text, re.M))
    for row, following in zip(rows, rows[1:] + [None]):
        source.add('entry', [Part(row.start(), row.end() - 1, 'literal', '')], switched=False)
        if following is not None and following.start() == row.end():
            source.add('entry', [Part(row.start(2), row.end(2), 'literal', following[2]),
                                 Part(following.start(2), following.end(2), 'literal', row[2])], switched=False)


def macro_mutants(source):
    """Values returned from the functions that macros define."""
    for definition in re.finditer(r'^#define (?:.*\\\n)*.*$', source.text, re.M):
        for value in re.finditer(r'return (\w+);', definition[0]):
            source.add('return', [Part(definition.start() + value.start(1), definition.start() + value.end(1), 'literal',
                                       '0')], switched=False)


def find(project, path, unit_path, arguments):
    """The mutants of the file at path, which is unit_path itself or a header that it includes."""
    source = SourceFile(project, path)
    if str(path).endswith('.c'):
        table_mutants(source)
    else:
        unit = cindex.Index.create().parse(str(unit_path), args=arguments)
        errors = [d for d in unit.diagnostics if d.severity >= cindex.Diagnostic.Error]
        if errors:
            raise SystemExit(f'mutate.py: libclang cannot read {unit_path}: {errors[0].spelling}')
        finder = Finder(source)
        for cursor in unit.cursor.get_children():
            if finder.mine(cursor):
                finder.visit(cursor)
        macro_mutants(source)
    occurrences = {}
    for mutant in source.mutants:
        base = mutant.key()
        occurrences[base] = mutant.occurrence = occurrences.get(base, 0) + 1
    return source
