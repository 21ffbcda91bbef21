"""Measures how long the helper takes to start, to hand the fans back and to exit."""

import contextlib
import json
import os
import signal
import socket
import statistics
import struct
import time

from processes import Process, output_of


def percentile99(values):
    return sorted(values)[int(0.99 * (len(values) - 1))]


def start_of(program, text):
    with Process(program) as process:
        return process.wait_for(text) * 1000


def start(scene, figures):
    with scene.mac():
        helper, least = zip(*((start_of(scene.installation / 'app.kelo.helper', 'Listening on'),
                               start_of(scene.programs / 'bench_empty', 'main')) for _ in range(scene.count(200, 20))))
    figures.compare('start.p50', statistics.median(helper), statistics.median(least), 'ms')
    figures.add('start.p99', percentile99(helper), 'ms')


class Mac:
    """The simulated Mac's sockets and clock."""

    def __init__(self, scene):
        self.scene = scene
        self.folder = os.open(scene.installation / 'simulated-mac', os.O_PATH)
        self.hardware = self.connect('hardware.socket')
        self.calls = self.connect('calls.socket')
        # The Mac records the time of a write on its own clock. The shortest of 20 writes gives the most accurate
        # offset.
        _, self.offset = min(self.write_now() for _ in range(20))

    def connect(self, name):
        link = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        link.connect(f'/proc/self/fd/{self.folder}/{name}')
        return link

    def exchange(self, key, command, size):
        """Sends a record of 80 bytes with key, size and command, as docs/simulated-mac.md describes it."""
        self.hardware.send(struct.pack('<I24xI10xB37x', int.from_bytes(key, 'big'), size, command))
        self.hardware.recv(80)

    def write_now(self):
        before = time.perf_counter()
        self.exchange(b'Ftst', 6, 1)
        after = time.perf_counter()
        return after - before, (before + after) / 2 - self.last_write('Ftst')

    def last_write(self, ending):
        """Returns the time of the last write to a key with this ending, in seconds on the Mac's clock."""
        writes = json.loads(output_of(self.scene.installation / 'simmac', 'show', '--json'))['writes']
        return max(write['time'] for write in writes if write['key'].endswith(ending))

    def call(self, message):
        self.calls.send(message)
        return self.calls.recv(1 << 16)

    def sleep(self):
        """Makes the Mac sleep, and returns the seconds until the last acknowledgement. Both messages are CBOR maps;
        "seconds" is a double or a float."""
        report = self.call(b'\xa1\x65sleep\xa1\x63now\xf5')
        at = report.index(b'\x67seconds') + 8
        kind, length = ('>d', 8) if report[at] == 0xfb else ('>f', 4)
        return struct.unpack(kind, report[at + 1:at + 1 + length])[0]

    def wake(self):
        self.call(b'\xa1\x64wake\xa0')


@contextlib.contextmanager
def session(scene, is_holding):
    with Process(scene.installation / 'app.kelo.helper') as helper:
        helper.wait_for('Listening on')
        with scene.staying('hold', 1) if is_holding else contextlib.nullcontext():
            if is_holding:
                helper.wait_for('engaged')
            yield helper


def end_once(scene, mac, is_holding):
    """Returns the milliseconds from SIGTERM until the last fan is automatic, and until the process has exited."""
    with session(scene, is_holding) as helper:
        begun = time.perf_counter()
        exited = helper.end(signal.SIGTERM)
    return (mac.last_write('Md') + mac.offset - begun) * 1000, exited * 1000


def end_of_limit(scene):
    """Returns the milliseconds from SIGTERM to exit for an empty program that watches as many files as the helper."""
    with Process(scene.programs / 'bench_empty', 'watch') as empty:
        empty.wait_for('main')
        return empty.end(signal.SIGTERM) * 1000


def acknowledgements(scene, mac, count):
    times = []
    with session(scene, True) as helper:
        for _ in range(count):
            times.append(mac.sleep() * 1000)
            mac.wake()
            helper.wait_for('resumed')
    return times


def bare_exchanges(mac, count):
    """Returns the median milliseconds for `count` exchanges."""
    times = []
    for _ in range(200):
        begun = time.perf_counter()
        for _ in range(count):
            mac.exchange(b'FNum', 9, 0)
        times.append((time.perf_counter() - begun) * 1000)
    return statistics.median(times)


def hand_back(scene, figures):
    def add(name, times, least=None):
        figures.add(name + '.p50', statistics.median(times), 'ms')
        if least:
            figures.compare(name + '.p99', percentile99(times), percentile99(least), 'ms')
        else:
            figures.add(name + '.p99', percentile99(times), 'ms')
        figures.add(name + '.worst', max(times), 'ms')

    count = scene.count(1000, 20)
    with scene.mac():
        mac = Mac(scene)
        idle, holding, least = zip(*((end_once(scene, mac, False), end_once(scene, mac, True), end_of_limit(scene))
                                     for _ in range(count)))
        six = bare_exchanges(mac, 6)
        asleep = acknowledgements(scene, mac, count)
    # On exit the fans are handed back twice: when the hold stops, and when the helper exits. On sleep they are handed
    # back only once.
    figures.add('hand-back.six-bare-exchanges', six, 'ms')
    add('hand-back.idle.last-fan', [fans for fans, _ in idle])
    add('hand-back.idle.exit', [exited for _, exited in idle])
    fans = [fans for fans, _ in holding]
    add('hand-back.holding.last-fan', fans)
    figures.add('hand-back.holding.last-fan.beyond-exchanges', percentile99(fans) - 2 * six, 'ms')
    add('hand-back.holding.exit', [exited for _, exited in holding], least)
    figures.add('hand-back.exit-limit.p50', statistics.median(least), 'ms')
    add('hand-back.sleep.acknowledgement', asleep)
    figures.add('hand-back.sleep.beyond-exchanges', percentile99(asleep) - six, 'ms')
