"""Finds the places that can be mutated, in the compiler's syntax tree of the sources."""

import json
import os
import re
from dataclasses import dataclass, field
from typing import Callable, List, Optional, Tuple

from clang.cindex import CursorKind as Kind, Index, TranslationUnit, TypeKind

RELATIONAL = {'<': ['<=', '>='], '<=': ['<', '>'], '>': ['>=', '<='], '>=': ['>', '<'], '==': ['!='], '!=': ['==']}
ARITHMETIC = {'+': ['-'], '-': ['+'], '*': ['/'], '/': ['*'], '%': ['*'], '<<': ['>>'], '>>': ['<<'], '&': ['|'],
              '|': ['&']}
LOGICAL = {'&&': ['||'], '||': ['&&']}
ASSIGNING = {'+=': '-=', '-=': '+=', '*=': '/=', '/=': '*='}
STEPPING = {'++': '--', '--': '++'}

FUNCTIONS = (Kind.FUNCTION_DECL, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR, Kind.FUNCTION_TEMPLATE,
             Kind.CONVERSION_FUNCTION)
LOOPS = (Kind.FOR_STMT, Kind.WHILE_STMT, Kind.DO_STMT, Kind.CXX_FOR_RANGE_STMT)
REMOVABLE = (Kind.CALL_EXPR, Kind.COMPOUND_ASSIGNMENT_OPERATOR, Kind.CXX_THROW_EXPR, Kind.RETURN_STMT,
             Kind.BREAK_STMT, Kind.CONTINUE_STMT)

Render = Callable[[int, int], str]
"""Returns the text of a range, including the mutations inside it."""


@dataclass
class Mutant:
    """One change to the program."""
    path: str
    line: int
    line_text: str
    what: str  # "`a < b` becomes `a <= b`"
    replacement: Callable[[Render], str]
    is_constant: bool  # the compiler may compute it, so a mutant cannot be activated at run time
    number: int = 0

    def describe(self) -> str:
        return f'{self.path}:{self.line}: {self.what}'


@dataclass
class Site:
    """A range of a source and its possible replacements."""
    start: int
    end: int
    original: Callable[[Render], str]
    mutants: List[Mutant] = field(default_factory=list)
    is_statement: bool = False
    keyword: Optional[str] = None  # replaces "constexpr", so that the constant is computed at run time
    is_fixed: bool = False  # must stay a compile-time constant
    is_constant: bool = False
    inner: List['Site'] = field(default_factory=list)


@dataclass
class Context:
    """The position of a node in the tree."""
    parents: Tuple = ()
    is_constant: bool = False
    is_fixed: bool = False

    def inside(self, node, **changes) -> 'Context':
        values = {'is_constant': self.is_constant, 'is_fixed': self.is_fixed, **changes}
        return Context(self.parents + (node,), **values)


def readable(text: str) -> str:
    return ' '.join(text.encode('latin-1').decode('utf-8').split())


def short(text: str) -> str:
    text = readable(text)
    return text if len(text) <= 70 else text[:67] + '...'


def bare(node):
    """Returns the expression without implicit conversions."""
    while node.kind == Kind.UNEXPOSED_EXPR:
        children = list(node.get_children())
        if len(children) != 1 or children[0].extent.end.offset != node.extent.end.offset:
            return node
        node = children[0]
    return node


def is_boolean(node) -> bool:
    return node.type.get_canonical().kind == TypeKind.BOOL


def is_number(node) -> bool:
    kind = node.type.get_canonical().kind
    return TypeKind.BOOL.value <= kind.value <= TypeKind.LONGDOUBLE.value or kind == TypeKind.DEPENDENT


class Finder:
    """Collects the sites of one file."""

    def __init__(self, path: str, text: str):
        self.path = path
        self.text = text
        self.sites = {}
        self.macros = []

    # --- recording

    def add(self, start, end, alternatives, context, original=None, **flags):
        """Adds a site. Each alternative is a description and a function that renders it."""
        key = (start, end, flags.get('is_statement', False), tuple(what for what, _ in alternatives))
        if key in self.sites or any(first <= start and end <= last for first, last in self.macros):
            return
        line = self.text.count('\n', 0, start) + 1
        line_text = readable(self.text.split('\n')[line - 1])
        mutants = [Mutant(self.path, line, line_text, what, replacement, context.is_constant)
                   for what, replacement in alternatives]
        self.sites[key] = Site(start, end, original or (lambda render: render(start, end)), mutants,
                               is_fixed=context.is_fixed, is_constant=context.is_constant, **flags)

    def add_texts(self, start, end, replacements, context):
        """Adds a site. Each replacement is a string in which {} is replaced by the original."""
        original = short(self.text[start:end])
        self.add(start, end, [(f'`{original}` becomes `{text.format(original)}`',
                               lambda render, text=text: text.format(f'({render(start, end)})'))
                              for text in replacements], context)

    # --- traversal

    def visit(self, node, context):
        start, end = node.extent.start.offset, node.extent.end.offset
        kind = node.kind
        if kind == Kind.STATIC_ASSERT or self.text[start:end].startswith(('sizeof', 'decltype', 'alignof')):
            return
        if kind in FUNCTIONS:
            context = context.inside(node, is_constant=self.is_declared_constexpr(node))
        elif kind == Kind.FIELD_DECL:
            context = context.inside(node, is_constant=True)
        elif kind == Kind.VAR_DECL and self.is_declared_constexpr(node) and not context.is_constant:
            self.make_variable_at_run_time(node)
        self.mutate(node, start, end, context)
        below = context.inside(node)
        for index, child in enumerate(node.get_children()):
            inner = below
            if kind == Kind.CASE_STMT and index == 0 or kind == Kind.ENUM_CONSTANT_DECL:
                inner = context.inside(node, is_fixed=True)
            self.visit(child, inner)

    def is_declared_constexpr(self, node) -> bool:
        end = node.extent.end.offset
        head = re.split(r'[={]', self.text[node.extent.start.offset:end], 1)[0]
        return re.search(r'\bconstexpr\b', head) is not None

    def make_variable_at_run_time(self, node):
        start = self.text.index('constexpr', node.extent.start.offset)
        is_member = node.semantic_parent.kind in (Kind.STRUCT_DECL, Kind.CLASS_DECL)
        keyword = 'inline const' if is_member else 'const'
        key = (start, start + len('constexpr'), False, ())
        self.sites[key] = Site(start, start + len('constexpr'), lambda render: 'constexpr', keyword=keyword)

    def mutate(self, node, start, end, context):
        kind = node.kind
        parent = context.parents[-1] if context.parents else None
        self.mutate_statement(node, start, end, parent, context)
        if kind == Kind.IF_STMT:
            self.mutate_if(node, context)
        elif kind in (Kind.WHILE_STMT, Kind.DO_STMT, Kind.FOR_STMT):
            self.mutate_loop(node, context)
        elif kind == Kind.CONDITIONAL_OPERATOR:
            self.force(next(node.get_children()), ('true', 'false'), context)
        elif kind == Kind.BINARY_OPERATOR:
            self.mutate_operator(node, start, end, context)
        elif kind == Kind.UNARY_OPERATOR:
            self.mutate_unary(node, start, end, context)
        elif kind == Kind.COMPOUND_ASSIGNMENT_OPERATOR:
            self.mutate_assignment(node, start, end, context)
        elif kind == Kind.CALL_EXPR:
            self.mutate_call(node, start, end, parent, context)
        elif kind in (Kind.INTEGER_LITERAL, Kind.FLOATING_LITERAL, Kind.CXX_BOOL_LITERAL_EXPR):
            self.mutate_literal(node, start, end, parent, context)

    def mutate_if(self, node, context):
        children = list(node.get_children())
        if self.text[node.extent.start.offset:].startswith('if constexpr'):
            return
        if children[0].kind == Kind.VAR_DECL:
            self.force_declared(children[0], context)
        else:
            self.force(children[1 if children[0].kind == Kind.DECL_STMT else 0], ('true', 'false'), context)

    def force(self, condition, values, context):
        if bare(condition).kind == Kind.CXX_BOOL_LITERAL_EXPR:
            return
        start, end = condition.extent.start.offset, condition.extent.end.offset
        original = short(self.text[start:end])
        self.add(start, end, [(f'the condition `{original}` becomes {value}', lambda render, value=value: value)
                              for value in values], context,
                 original=lambda render: f'static_cast<bool>({render(start, end)})')

    def force_declared(self, variable, context):
        """Forces a condition that declares a variable: "if (x = y)" becomes "if (x = y; x)"."""
        start, end = variable.extent.start.offset, variable.extent.end.offset
        original = short(self.text[start:end])
        self.add(start, end, [
            (f'the condition `{original}` becomes {value}',
             lambda render, value=value: f'{render(start, end)}; {value}') for value in ('true', 'false')],
            context, original=lambda render: f'{render(start, end)}; static_cast<bool>({variable.spelling})',
            is_statement=True)

    def mutate_loop(self, node, context):
        """Forces the condition to be false, but never true, because the loop would only hang."""
        children = list(node.get_children())
        index = {Kind.WHILE_STMT: 0, Kind.DO_STMT: 1, Kind.FOR_STMT: 1}[node.kind]
        if node.kind != Kind.FOR_STMT or len(children) == 4:
            if children[index].kind != Kind.VAR_DECL:
                self.force(children[index], ('false',), context)

    def mutate_operator(self, node, start, end, context):
        left, right = node.get_children()
        left_end, right_start = left.extent.end.offset, right.extent.start.offset
        operator = self.text[left_end:right_start].strip()
        others = RELATIONAL.get(operator) or LOGICAL.get(operator)
        if not others and is_number(left) and is_number(right):
            others = ARITHMETIC.get(operator)
        if not others:
            return
        original = short(self.text[start:end])
        sides = short(self.text[start:left_end]), short(self.text[right_start:end])
        self.add(start, end, [
            (f'`{original}` becomes `{sides[0]} {other} {sides[1]}`',
             lambda render, other=other: f'({render(start, left_end)}) {other} ({render(right_start, end)})')
            for other in others], context)

    def mutate_unary(self, node, start, end, context):
        operand = next(node.get_children())
        first, last = operand.extent.start.offset, operand.extent.end.offset
        operator = (self.text[start:first] + self.text[last:end]).strip()
        original = short(self.text[start:end])
        if operator in ('-', '!'):
            self.add(start, end, [(f'`{original}` becomes `{short(self.text[first:last])}`',
                                   lambda render: self.without_sign(operator, render(first, last)))], context)
        elif operator in STEPPING:
            self.mutate_step(start, end, operator, context)

    @staticmethod
    def without_sign(operator, operand) -> str:
        return f'static_cast<bool>({operand})' if operator == '!' else f'({operand})'

    def mutate_step(self, start, end, operator, context):
        original = short(self.text[start:end])
        other = STEPPING[operator]
        self.add(start, end, [(f'`{original}` becomes `{original.replace(operator, other)}`',
                               lambda render: render(start, end).replace(operator, other))], context)

    def mutate_assignment(self, node, start, end, context):
        left, right = node.get_children()
        left_end, right_start = left.extent.end.offset, right.extent.start.offset
        other = ASSIGNING.get(self.text[left_end:right_start].strip())
        if other:
            sides = short(self.text[start:left_end]), short(self.text[right_start:end])
            self.add(start, end, [(f'`{short(self.text[start:end])}` becomes `{sides[0]} {other} {sides[1]}`',
                                   lambda render: f'{render(start, left_end)} {other} ({render(right_start, end)})')],
                     context)

    def mutate_call(self, node, start, end, parent, context):
        if node.spelling in ('operator++', 'operator--') and self.text[start:].startswith(('++', '--')):
            self.mutate_step(start, end, node.spelling[-2:], context)
        is_conversion = node.spelling == 'operator bool'
        if is_boolean(node) and not is_conversion and not self.is_condition(node, context.parents):
            self.add_texts(start, end, ['!{}'], context)

    def is_condition(self, node, parents) -> bool:
        """Returns whether the node is a condition, an operand of `!` or a statement, which are mutated elsewhere."""
        for parent in reversed(parents):
            if parent.kind != Kind.UNEXPOSED_EXPR:
                kinds = (Kind.IF_STMT, Kind.CONDITIONAL_OPERATOR, Kind.COMPOUND_STMT, *LOOPS)
                return parent.kind in kinds or (parent.kind == Kind.UNARY_OPERATOR and
                                                self.text[parent.extent.start.offset] == '!')
        return False

    def mutate_literal(self, node, start, end, parent, context):
        text = self.text[start:end]
        is_size = self.text[start - 1] == '[' and parent.kind in (Kind.VAR_DECL, Kind.FIELD_DECL, Kind.PARM_DECL)
        if is_size:
            if parent.kind == Kind.PARM_DECL:
                return  # has no effect on the compiled code
            context = context.inside(node, is_fixed=True)
        if node.kind == Kind.CXX_BOOL_LITERAL_EXPR and text in ('true', 'false'):
            self.add_literals(start, end, ['false' if text == 'true' else 'true'], context)
        elif not re.match(r'[0-9.]', text):
            return  # from a macro
        elif node.kind == Kind.FLOATING_LITERAL:
            is_zero = float(re.sub(r"[fFlL']", '', text)) == 0 if not text.startswith('0x') else False
            self.add_texts(start, end, ['1.0'] if is_zero else ['{} * 1.1', '{} * 0.9'], context)
        else:
            # Enlarging an array has no effect on a correct program.
            self.add_texts(start, end, ['{} - 1'] if is_size else ['{} + 1', '{} - 1'], context)

    def add_literals(self, start, end, others, context):
        original = self.text[start:end]
        self.add(start, end, [(f'`{original}` becomes `{other}`', lambda render, other=other: other)
                              for other in others], context)

    # --- removed statements

    def mutate_statement(self, node, start, end, parent, context):
        if parent is None or not self.is_statement(node, parent):
            return
        inner = bare(node)
        is_assignment = inner.kind == Kind.BINARY_OPERATOR and self.operator_of(inner) == '='
        is_step = inner.kind == Kind.UNARY_OPERATOR and self.text[start:start + 2] in STEPPING
        if not (inner.kind in REMOVABLE or is_assignment or is_step):
            return
        if inner.kind == Kind.RETURN_STMT and self.gives_the_value(inner, parent, context.parents):
            return
        end = self.text.index(';', end) + 1
        self.add(start, end, [(f'`{short(self.text[start:end])}` is left out', lambda render: '')], context,
                 is_statement=True)

    def operator_of(self, node) -> str:
        left, right = node.get_children()
        return self.text[left.extent.end.offset:right.extent.start.offset].strip()

    @staticmethod
    def is_statement(node, parent) -> bool:
        if parent.kind in (Kind.COMPOUND_STMT, Kind.DEFAULT_STMT):
            return True
        children = list(parent.get_children())
        if parent.kind == Kind.CASE_STMT:
            return node != children[0]
        if parent.kind == Kind.IF_STMT:
            skipped = 2 if children[0].kind in (Kind.VAR_DECL, Kind.DECL_STMT) else 1
            return node not in children[:skipped]
        return parent.kind in LOOPS and node == children[-1] and parent.kind != Kind.DO_STMT

    @staticmethod
    def gives_the_value(node, parent, parents) -> bool:
        """Returns whether the node returns a value at the end of a function or of a branch of its last statement."""
        value = list(node.get_children())
        if not value or value[0].type.kind == TypeKind.VOID:
            return False
        statement = node
        for parent in reversed(parents):
            if parent.kind in FUNCTIONS or parent.kind == Kind.LAMBDA_EXPR:
                return True
            if parent.kind == Kind.COMPOUND_STMT and list(parent.get_children())[-1] != statement:
                return False
            if parent.kind == Kind.IF_STMT or parent.kind in LOOPS:
                return False
            statement = parent
        return True


def nested(sites: List[Site]) -> List[Site]:
    """Returns the sites as a forest, in which each site contains the sites inside it."""
    roots: List[Site] = []
    stack: List[Site] = []
    for site in sorted(sites, key=lambda site: (site.start, -site.end, not site.is_statement)):
        while stack and stack[-1].end <= site.start:
            stack.pop()
        (stack[-1].inner if stack else roots).append(site)
        stack.append(site)
    return roots


def compile_arguments(database: str, source: str) -> List[str]:
    with open(os.path.join(database, 'compile_commands.json'), encoding='utf-8') as file:
        commands = {entry['file']: entry['command'].split() for entry in json.load(file)}
    command = commands[os.path.abspath(source)]
    return [word for word in command if word.startswith(('-I', '-D', '-std', '-isystem'))]


def find(paths: List[str], database: str) -> dict:
    """Returns the sites of each file by its path. Finds the sites of headers through the sources that include them."""
    finders = {}
    for path in paths:
        with open(path, encoding='latin-1') as file:  # offsets count bytes
            finders[os.path.realpath(path)] = Finder(path, file.read())
    index = Index.create()
    for path in paths:
        if path.endswith('.cpp'):
            unit = index.parse(os.path.abspath(path), args=compile_arguments(database, path),
                               options=TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD)
            errors = [str(message) for message in unit.diagnostics if message.severity >= 3]
            if errors:
                raise SystemExit('\n'.join(errors))
            walk_top(unit.cursor, finders)
    return {finder.path: nested(list(finder.sites.values())) for finder in finders.values()}


def walk_top(top, finders):
    declarations = []
    for node in top.get_children():
        file = node.location.file
        finder = finders.get(os.path.realpath(file.name)) if file else None  # the compiler finds headers through links
        if finder is None:
            continue
        if node.kind == Kind.MACRO_INSTANTIATION:
            start, end = node.extent.start.offset, node.extent.end.offset
            if '(' in finder.text[start:end]:
                finder.macros.append((start, end))
        elif node.kind.is_declaration():
            declarations.append((finder, node))
    for finder, node in declarations:
        finder.visit(node, Context())
