"""Compares the cost of the helper with the minimum cost of the same work.

usage: run.py INSTALLATION PROGRAMS JSON [--brief] [NAME...]

INSTALLATION is a staged installation in which no program is running, PROGRAMS the folder of the benchmark programs, and
JSON the file for the figures. Without NAMEs, measures everything except the peers.
"""

import json
import os
import pathlib
import platform
import re
import sys

import in_place
import peers
import ways
from figures import Figures

MEASURES = {'memory-machine': in_place.in_memory, 'holding': in_place.holding, 'requests': in_place.requests,
            'connecting': in_place.connecting, 'clients': in_place.clients, 'idling': in_place.idling,
            'memory': in_place.memory_use, 'start': ways.start, 'hand-back': ways.hand_back, 'size': in_place.size,
            'peers': peers.measure}


def machine():
    """Describes the machine and its load. Absolute figures have no meaning without them."""
    model = re.search(r'model name\s*: (.*)', pathlib.Path('/proc/cpuinfo').read_text())
    return {'processors': os.cpu_count(), 'model': model[1].strip() if model else platform.machine(),
            'system': f'{platform.system()} {platform.release()}',
            'load': pathlib.Path('/proc/loadavg').read_text().strip()}


def main(installation, programs, file, *names):
    is_brief = '--brief' in names
    names = [name for name in names if name != '--brief'] or [name for name in MEASURES if name != 'peers']
    if unknown := [name for name in names if name not in MEASURES]:
        raise SystemExit(f'bench: unknown benchmark "{unknown[0]}"; the benchmarks are ' + ' '.join(MEASURES))
    # All programs run on the last processor, because the first handles the interrupts.
    os.sched_setaffinity(0, {os.cpu_count() - 1})
    scene = in_place.Scene(pathlib.Path(installation).absolute(), pathlib.Path(programs).absolute(), is_brief)
    figures = Figures()
    report = {'picture': 'targets', 'brief': is_brief, 'before': machine()}
    print(json.dumps(report, indent=2), flush=True)
    for name in names:
        MEASURES[name](scene, figures)
    report |= {'after': machine(), 'figures': figures.list}
    pathlib.Path(file).write_text(json.dumps(report, indent=1) + '\n')


if __name__ == '__main__':
    main(*sys.argv[1:])
