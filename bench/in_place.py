"""Measures the cost of the running helper, and the size of its files."""

import contextlib
import json
import os
import statistics
import time
from dataclasses import dataclass
from pathlib import Path

from processes import Process, memory, output_of, processor_time, waits

TICK = 2.0  # seconds, as in the helper
SERVICE = 'app.kelo.helper.socket'


@dataclass
class Scene:
    """The staged installation to measure, and the folder of the programs that measure it."""
    installation: Path
    programs: Path
    is_brief: bool

    def count(self, full, brief):
        return brief if self.is_brief else full

    @contextlib.contextmanager
    def mac(self):
        with Process(self.installation / 'simmac', 'serve') as mac:
            mac.wait_for('is up', mac.output)
            yield mac

    @contextlib.contextmanager
    def helper(self, program='app.kelo.helper'):
        """Runs a simulated Mac and a helper that listens."""
        with self.mac(), Process(self.installation / program, log=self.programs / 'helper.log') as helper:
            helper.wait_for('Listening on')
            yield helper

    def client(self, socket, *question):
        return [self.installation / 'bench_client', self.installation, socket, *question]

    def ask(self, socket, *question):
        """Returns the measurements of bench_client for the service at `socket`, in nanoseconds."""
        return json.loads(output_of(*self.client(socket, *question)))

    @contextlib.contextmanager
    def staying(self, *question):
        """Runs a client that holds the fans, or idle clients, in the background."""
        with Process(*self.client(SERVICE, *question)) as client:
            client.wait_for('staying', client.output)
            yield client


def in_memory(scene, figures):
    """Takes the best of all runs, because other work on the machine can only slow them down."""
    best = {}
    file = scene.programs / 'in_memory.json'
    os.environ |= {'KELO_CLIENT': str(scene.installation / 'bench_client'),
                   'KELO_ANCHOR': str(scene.installation / 'simulated-mac/anchor.pub')}
    for _ in range(scene.count(25, 5)):
        output_of(scene.programs / 'bench_in_memory', f'--benchmark_out={file}', '--benchmark_out_format=json',
                  '--benchmark_min_time=0.1')
        for benchmark in json.loads(file.read_text())['benchmarks']:
            name = benchmark['name'].removesuffix('/iterations:1')
            if name not in best or benchmark['cpu_time'] < best[name]['cpu_time']:
                best[name] = benchmark
    figures.compare('memory-machine.tick', best['quietTick']['cpu_time'], best['bareExchangesOfTick']['cpu_time'], 'ns')
    figures.add('memory-machine.tick.allocations', best['quietTick']['allocations'], 'per tick')
    figures.add('memory-machine.snapshot-to-text', best['snapshotToText']['cpu_time'], 'ns')
    figures.add('memory-machine.signature', best['signature']['cpu_time'] / 1000, 'us')
    for step in ('Start', 'Tick', 'Repair', 'Sleep', 'Wake', 'Stop'):
        figures.add('exchanges.' + step, best['countStep/' + step]['exchanges'], 'exchanges')


def spent(pids, seconds):
    """Returns the processor time in microseconds and the number of waits of each process during `seconds`."""
    before = [(processor_time(pid), waits(pid)) for pid in pids]
    time.sleep(seconds)
    return [(processor_time(pid) - used, waits(pid) - waited) for pid, (used, waited) in zip(pids, before)]


def holding(scene, figures):
    with scene.helper() as helper, scene.staying('hold', 1), \
            Process(scene.programs / 'bench_ticker', scene.installation / 'simulated-mac', TICK) as bare:
        time.sleep(2.5 * TICK)  # start-up is over by then, and the two processes tick at different times
        ticks = scene.count(30, 5)
        (used, waited), (least, least_waited) = spent([helper.pid, bare.pid], ticks * TICK)
    figures.compare('holding.tick', used / ticks, least / ticks, 'us')
    figures.add('holding.waits', waited * 60 / (ticks * TICK), 'per minute')
    figures.add('holding.waits.limit', least_waited * 60 / (ticks * TICK), 'per minute')


def idling(scene, figures):
    seconds = scene.count(60, 5)
    with scene.helper() as helper:
        time.sleep(1)
        [(used, waited)] = spent([helper.pid], seconds)
    figures.add('idling.wake-ups', waited * 60 / seconds, 'per minute')
    figures.add('idling.processor-time', used * 60 / seconds, 'us per minute')


def requests(scene, figures):
    """Measures the helper and the minimum in turn, so that other work on the machine affects both equally."""
    folder = scene.installation
    with scene.helper():
        for request, size, mac, count in (('version', 19, [], scene.count(10000, 2000)),
                                          ('snapshot', 280, [folder / 'simulated-mac'], scene.count(2000, 300))):
            with Process(scene.programs / 'bench_responder', folder, 'limit.socket', size, *mac) as limit:
                limit.wait_for('listening', limit.output)
                rounds = [(scene.ask(SERVICE, request, count), scene.ask('limit.socket', request, count))
                          for _ in range(scene.count(11, 3))]
            for part in ('p50', 'p99'):
                helper, least = (statistics.median(each[part] for each in of) / 1000 for of in zip(*rounds))
                figures.compare(f'requests.{request}.{part}', helper, least, 'us')


def connecting(scene, figures):
    with scene.helper():
        times = scene.ask(SERVICE, 'connect', scene.count(2000, 200))
    figures.add('connecting.p50', times['p50'] / 1000, 'us')
    figures.add('connecting.p99', times['p99'] / 1000, 'us')
    figures.add('connecting.client-size', (scene.installation / 'bench_client').stat().st_size / 1024, 'KiB')


def clients(scene, figures):
    """Measures a helper with a higher limit on clients."""
    count = scene.count(20000, 3000)
    with scene.helper('bench_many_clients') as helper:
        # Memory is measured first, because later clients reuse the memory of earlier ones.
        before = memory(helper.pid)['private']
        with scene.staying('stay', 1000):
            figures.add('clients.memory', (memory(helper.pid)['private'] - before) / 1000, 'KiB per client')
        alone = None
        for number in (1, 10, 100, 1000):
            times = scene.ask(SERVICE, 'poll', number, count)
            throughput = 1e9 / times['mean']
            alone = alone or throughput
            figures.add(f'clients.{number}.throughput', throughput, 'replies per second')
            figures.add(f'clients.{number}.p50', times['p50'] / 1000, 'us')
            figures.add(f'clients.{number}.p99', times['p99'] / 1000, 'us')
            if number > 1:
                figures.add(f'clients.{number}.slowdown', 100 * (1 - throughput / alone), 'percent')


def memory_use(scene, figures):
    def add(state):
        for kind, size in memory(helper.pid).items():
            figures.add(f'memory.{state}.{kind}', size, 'KiB')

    with scene.helper() as helper:
        add('idle')
        with scene.staying('hold', 1):
            add('holding')
        scene.ask(SERVICE, 'version', 5000)
        scene.ask(SERVICE, 'snapshot', 5000)
        add('after-10000-requests')
    with Process(scene.programs / 'bench_empty', 'stay') as empty:
        empty.wait_for('main')
        figures.add('memory.empty-program.private-without-libraries',
                    memory(empty.pid)['private-without-libraries'], 'KiB')


def size(scene, figures):
    for program in ('app.kelo.helper', 'kelo'):
        stripped = scene.programs / (program + '.stripped')
        output_of('/usr/bin/strip', '-o', stripped, scene.installation / program)
        figures.add('size.' + program, stripped.stat().st_size / 1024, 'KiB')
