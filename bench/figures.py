"""The figures: their names, targets and earlier values. Also writes their table and picture in the documents.

usage: figures.py record RUN...   writes the table in docs/performance.md and the picture's data, from full runs
       figures.py check           fails if the table differs from the picture's data
"""

import json
import pathlib
import sys

# name: label, target, value at 4c6242f
FIGURES = {
    'memory-machine.tick.ratio': ('tick in memory, vs. its exchanges', 1.7, 1.98),
    'memory-machine.tick.allocations': ('allocations of a tick', 0, 0),
    'holding.tick.ratio': ('tick, vs. the minimum', 1.2, 1.41),
    'requests.version.p50.ratio': ('version request, median, vs. the minimum', 1.5, 2.01),
    'requests.version.p99.ratio': ('version request, 99th percentile, vs. the minimum', 1.5, 2.56),
    'requests.snapshot.p50.ratio': ('snapshot request, median, vs. the minimum', 1.5, None),
    'requests.snapshot.p99.ratio': ('snapshot request, 99th percentile, vs. the minimum', 1.5, None),
    'connecting.p50': ('connecting until the first reply, median', 1500, None),
    'memory-machine.signature': ("verifying a client's signature", None, None),
    'clients.memory': ('memory of each client', 8, None),
    'clients.10.slowdown': ('throughput lost with 10 clients', 20, None),
    'clients.100.slowdown': ('throughput lost with 100 clients', 20, None),
    'clients.1000.slowdown': ('throughput lost with 1,000 clients', 20, None),
    'idling.wake-ups': ('wake-ups while idle', 0, None),
    'memory.idle.private-without-libraries': ('private memory, idle', 600, 1116),
    'memory.holding.private-without-libraries': ('private memory, holding', 1024, 1148),
    'memory.after-10000-requests.private-without-libraries': ('private memory after 10,000 requests', 1024, None),
    'memory.empty-program.private-without-libraries': ('private memory of an empty program', None, None),
    'memory.holding.resident': ('resident memory, holding', None, None),
    'start.p50.ratio': ('start, vs. the minimum', 1.3, 2.27),
    'hand-back.holding.last-fan.p99': ('SIGTERM to the last fan, 99th percentile', None, None),
    'hand-back.holding.last-fan.beyond-exchanges': ('SIGTERM to the last fan, beyond the exchanges', 1, None),
    'hand-back.sleep.acknowledgement.p99': ('sleep to its acknowledgement, 99th percentile', None, None),
    'hand-back.sleep.beyond-exchanges': ('sleep to its acknowledgement, beyond the exchanges', 1, None),
    'hand-back.holding.exit.p99.ratio': ('SIGTERM to exit, 99th percentile, vs. the minimum', 1.1, None),
    'size.app.kelo.helper': ('size of the helper', 400, 382),
    'size.kelo': ('size of the client', 400, 394),
}

PAGE = pathlib.Path('docs/performance.md')
DATA = pathlib.Path('docs/pictures/performance.json')
BEGIN, END = '<!-- The table is written by ./dev bench --record. -->', '<!-- The end of the table. -->'


class Figures:
    """The figures of a run. Prints each as it is added."""

    def __init__(self):
        self.list = []

    def add(self, name, value, unit, of=''):
        label, target, _ = FIGURES.get(name, (name, None, None))
        figure = {'name': name, 'label': label, 'value': round(value, 4), 'unit': unit}
        figure |= ({'of': of} if of else {}) | ({} if target is None else {'target': target})
        self.list.append(figure)
        print(f'{name:56} {value:12.2f} {unit}' + ('' if target is None else f'   (target {target:g})'), flush=True)

    def compare(self, name, value, limit, unit):
        """Adds a cost, its minimum, and their ratio, which is compared with the target."""
        self.add(name, value, unit)
        self.add(name + '.limit', limit, unit)
        self.add(name + '.ratio', value / limit, 'ratio', f'{short(value)} / {short(limit)} {unit}')


def short(value):
    return f'{value:,.0f}' if abs(value) >= 100 else f'{value:.3g}'


def with_unit(value, unit):
    shown = {'ratio': ' ×', 'percent': ' %', 'us': ' µs'}.get(unit, ' ' + unit)
    return f'{value:.2f}{shown}' if unit == 'ratio' else short(value) + shown


def cell(figure):
    of = figure.get('of', '').replace(' us', ' µs')
    return with_unit(figure['value'], figure['unit']) + (f' ({of})' if of else '')


def table(data):
    heads = [f'run {number + 1}' for number in range(len(data['runs']))]
    lines = ['| figure | | target | 4c6242f | ' + ' | '.join(heads) + ' |', '|---' * (4 + len(heads)) + '|']
    for figure in data['figures']:
        unit, target, before = figure['unit'], figure.get('target'), figure.get('before')
        lines.append('| ' + ' | '.join([
            f"`{figure['name']}`", figure['label'],
            'reported' if target is None else ('≤ ' if target else '') + with_unit(target, unit),
            '' if before is None else with_unit(before, unit), *figure['runs']]) + ' |')
    machines = [f'Run {number + 1}: {machine}.' for number, machine in enumerate(data['runs'])]
    return '\n'.join([*lines, '', *machines])


def machine_of(run):
    before, after = run['before'], run['after']
    return (f"{before['processors']} processors ({before['model']}), {before['system']}, "
            f"load {before['load'].split()[0]} before and {after['load'].split()[0]} after")


def record(files):
    """Writes the figures of all runs to the table, and the worst value of each figure to the picture."""
    runs = [json.loads(pathlib.Path(file).read_text()) for file in files]
    if any(run['brief'] for run in runs):
        raise SystemExit('figures.py: a brief run cannot be recorded')
    figures = []
    for name, (_, _, before) in FIGURES.items():
        of_runs = [next(figure for figure in run['figures'] if figure['name'] == name) for run in runs]
        worst = max(of_runs, key=lambda figure: figure['value'])
        figures.append(worst | {'before': before, 'runs': [cell(figure) for figure in of_runs]})
    data = {'picture': 'targets', 'runs': [machine_of(run) for run in runs], 'figures': figures}
    lines = [f' "{name}": {json.dumps(value, ensure_ascii=False)}' for name, value in list(data.items())[:-1]]
    rows = ',\n  '.join(json.dumps(figure, ensure_ascii=False) for figure in figures)
    DATA.write_text('{\n' + ',\n'.join(lines) + ',\n "figures": [\n  ' + rows + '\n ]\n}\n')
    PAGE.write_text(page_with(table(data)))


def page_with(text):
    before, rest = PAGE.read_text().split(BEGIN)
    return before + BEGIN + '\n\n' + text + '\n\n' + END + rest.split(END)[1]


if __name__ == '__main__':
    if sys.argv[1:2] == ['record'] and len(sys.argv) > 2:
        record(sys.argv[2:])
    elif sys.argv[1:] != ['check']:
        raise SystemExit(__doc__)
    elif PAGE.read_text() != page_with(table(json.loads(DATA.read_text()))):
        raise SystemExit(f'the figures in {PAGE} differ from {DATA}; "./dev bench --record" writes both')
