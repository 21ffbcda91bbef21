"""Writes sources with all their mutants, one of which is activated at start-up, or with a single mutant."""

import re
from typing import Callable, List, Set

from points import Mutant, Site


def all_mutants(sites: List[Site]):
    for site in sites:
        yield from site.mutants
        yield from all_mutants(site.inner)


class Writer:
    """Renders one file. `choose` renders the test for a mutant; lines in `dropped` keep their original text."""

    def __init__(self, text: str, sites: List[Site], choose: Callable[[Mutant, Site], str], dropped: Set[int]):
        self.text = text
        self.sites = sites
        self.choose = choose
        self.dropped = dropped

    def whole(self) -> str:
        return self.range(0, len(self.text), self.sites)

    def range(self, start: int, end: int, sites: List[Site]) -> str:
        pieces = []
        for site in sites:
            if start <= site.start and site.end <= end:
                pieces.append(self.text[start:site.start])
                pieces.append(self.site(site))
                start = site.end
        return ''.join(pieces) + self.text[start:end]

    def site(self, site: Site) -> str:
        def render(start, end):
            return self.range(start, end, site.inner)

        if site.keyword:
            line = self.text.count('\n', 0, site.start) + 1
            return self.text[site.start:site.end] if line in self.dropped or not self.choose else site.keyword
        wanted = [mutant for mutant in site.mutants if self.wants(mutant, site)]
        if not wanted:
            return render(site.start, site.end)
        if site.is_statement:
            return self.statement(site, wanted, render)
        choices = [f'{self.choose(mutant, site)} ? {one_line(mutant.replacement(render))}' for mutant in wanted]
        return f'({" : ".join(choices)} : {site.original(render)})'

    def wants(self, mutant: Mutant, site: Site) -> bool:
        return not site.is_fixed and mutant.line not in self.dropped

    def statement(self, site: Site, wanted: List[Mutant], render) -> str:
        if not wanted[0].replacement(render):
            return f'{{ if (!{self.choose(wanted[0], site)}) {render(site.start, site.end)} }}'
        declaration, _, condition = site.original(render).rpartition('; ')
        values = [mutant.replacement(render).rpartition('; ')[2] for mutant in wanted]
        choices = [f'{self.choose(mutant, site)} ? {value}' for mutant, value in zip(wanted, values)]
        return f'{declaration}; ({" : ".join(choices)} : {condition})'


class SingleWriter(Writer):
    """Renders one file with a single mutant in place of the original code."""

    def __init__(self, text: str, sites: List[Site], number: int):
        super().__init__(text, sites, None, set())
        self.number = number

    def site(self, site: Site) -> str:
        def render(start, end):
            return self.range(start, end, site.inner)

        for mutant in site.mutants:
            if mutant.number == self.number:
                replacement = one_line(mutant.replacement(render))
                if site.is_statement:
                    return replacement or '{}'
                return f'({replacement})'
        return render(site.start, site.end)


def one_line(text: str) -> str:
    """Removes line ends, so that the following code keeps its line numbers."""
    return re.sub(r'\s*\n\s*', ' ', re.sub(r'//[^\n]*\n', '\n', text))


def schemata(text: str, sites: List[Site], dropped: Set[int]) -> str:
    def choose(mutant: Mutant, site: Site) -> str:
        name = 'constantMutant' if site.is_constant else 'mutant'
        return f'kelo_mutants::{name}({mutant.number})'

    return Writer(text, sites, choose, dropped).whole()


def single(text: str, sites: List[Site], number: int) -> str:
    return SingleWriter(text, sites, number).whole()
