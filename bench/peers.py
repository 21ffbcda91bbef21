"""Measures two Linux fan daemons, which must be installed, on stand-in fans. Needs root."""

import os
import pathlib
import resource
import signal
import time

from processes import Process, memory, output_of, processor_time, waits

CYCLE = 2  # seconds
MANUAL, AUTOMATIC = 1, 2  # the kernel's numbers for a fan's mode

# Provides the kernel's files for two fans and two sensors. Four files of the loopback interface replace the files of
# the fans: each stores a number. They are on the same file system as a fan's files, and this file system ignores
# position and truncation. The interface is in a separate network namespace, so other processes are not affected, and
# the namespace disappears with the process.
STAGE = r'''set -e
folder=$1; shift
mount -t tmpfs none /run
mount -t sysfs none /sys
interface=/sys/class/net/lo
mount --bind $interface/tx_queue_len $folder/pwm1
mount --bind $interface/mtu $folder/pwm2
mount --bind $interface/netdev_group $folder/pwm1_enable
mount --bind $interface/napi_defer_hard_irqs $folder/pwm2_enable
for fan in 1 2; do echo 100 >$folder/pwm$fan; echo 2 >$folder/pwm${fan}_enable; done
exec "$@"'''

THINKFAN = '''sensors:
  - hwmon: FOLDER/temp1_input
  - hwmon: FOLDER/temp2_input
fans:
  - hwmon: FOLDER/pwm1
    levels: [ [ 0, 0, 50 ], [ 128, 45, 70 ], [ 255, 65, 255 ] ]
  - hwmon: FOLDER/pwm2
    levels: [ [ 0, 0, 50 ], [ 128, 45, 70 ], [ 255, 65, 255 ] ]
'''

FANCONTROL = '''INTERVAL=2
FCTEMPS=FOLDER/pwm1=FOLDER/temp1_input FOLDER/pwm2=FOLDER/temp2_input
MINTEMP=FOLDER/pwm1=40 FOLDER/pwm2=40
MAXTEMP=FOLDER/pwm1=80 FOLDER/pwm2=80
MINSTART=FOLDER/pwm1=100 FOLDER/pwm2=100
MINSTOP=FOLDER/pwm1=50 FOLDER/pwm2=50
'''


class Peer(Process):
    """A running daemon that has taken control of the stand-in fans."""

    def __init__(self, folder, *command):
        super().__init__('/usr/bin/unshare', '--mount', '--net', '/bin/sh', '-c', STAGE, 'sh', folder, *command,
                         log=folder / 'log')
        self.folder = pathlib.Path(f'/proc/{self.pid}/root{folder}')
        end = time.monotonic() + 5 * CYCLE
        while self.read('pwm2_enable') != MANUAL or self.read('pwm2') == 100:
            if time.monotonic() > end:
                raise SystemExit(f'bench: {command[0]} does not take the fans; is this running as root?')
            time.sleep(0.01)
        # Both files stay open, so that the mode can be read after the peer has exited.
        self.network = open(f'/proc/{self.pid}/ns/net', 'rb')
        self.mode = open(self.folder / 'pwm1_enable', encoding='ascii')

    def read(self, file):
        try:
            return int((self.folder / file).read_text())
        except (OSError, ValueError):
            return -1  # the file does not exist yet


def time_of_sleep():
    """Returns the total processor time of a `sleep` process in microseconds."""
    def used():
        usage = resource.getrusage(resource.RUSAGE_CHILDREN)
        return usage.ru_utime + usage.ru_stime

    before = used()
    for _ in range(20):
        output_of('/bin/sleep', '0')
    return (used() - before) / 20 * 1e6


def measure_cycles(peer, starts_sleep, cycles, add):
    time.sleep(CYCLE / 2)
    used, waited = processor_time(peer.pid), waits(peer.pid)
    time.sleep(cycles * CYCLE)
    add('cycle', (processor_time(peer.pid) - used) / cycles + (time_of_sleep() if starts_sleep else 0), 'us')
    add('waits', (waits(peer.pid) - waited) * 60 / (cycles * CYCLE), 'per minute')
    facts = memory(peer.pid)
    for kind in ('private-without-libraries', 'resident'):
        add(kind, facts[kind], 'KiB')


def measure_interference(peer, add):
    """Changes a fan's value and mode as another program might, and reports whether the peer restores them. Then ends
    the peer, and reports whether the fan is automatic."""
    own = peer.read('pwm1')
    (peer.folder / 'pwm1').write_text('200')
    (peer.folder / 'pwm2_enable').write_text(str(AUTOMATIC))
    time.sleep(3 * CYCLE)
    add('value-restored', peer.read('pwm1') == own, 'of 1 in 3 cycles')
    add('mode-restored', peer.read('pwm2_enable') == MANUAL, 'of 1 in 3 cycles')
    add('exit', peer.end(signal.SIGTERM) * 1000, 'ms')
    peer.mode.seek(0)
    add('automatic-afterwards', int(peer.mode.read()) == AUTOMATIC, 'of 1')


def measure(scene, figures):
    folder = scene.installation / 'peers'
    os.makedirs(folder, exist_ok=True)
    contents = dict.fromkeys(['pwm1', 'pwm2', 'pwm1_enable', 'pwm2_enable'], '')
    contents |= dict.fromkeys(['temp1_input', 'temp2_input'], '60000\n')
    contents |= {'thinkfan.yaml': THINKFAN, 'fancontrol.conf': FANCONTROL}
    for name, content in contents.items():
        (folder / name).write_text(content.replace('FOLDER', str(folder)))
    for command in (['/usr/sbin/thinkfan', '-n', '-s', CYCLE, '-c', folder / 'thinkfan.yaml'],
                    ['/usr/sbin/fancontrol', folder / 'fancontrol.conf']):
        name = os.path.basename(command[0])

        def add(what, value, unit, prefix=f'peers.{name}.'):
            figures.add(prefix + what, float(value), unit)

        with Peer(folder, *command) as peer:
            measure_cycles(peer, name == 'fancontrol', scene.count(30, 5), add)
        with Peer(folder, *command) as peer:
            measure_interference(peer, add)
