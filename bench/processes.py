"""Starts the measured processes, and reads their statistics from the kernel."""

import os
import pathlib
import re
import signal
import time


class Process:
    """A program with pipes to its standard streams. If `log` is given, standard error goes to that file instead, so
    that the program never waits for a reader. Killed and reaped at the end of its `with` block."""

    def __init__(self, *command, log=None):
        pipes = [os.pipe(), os.pipe(), os.pipe()]
        ends = [pipes[0][0], pipes[1][1], pipes[2][1]]
        if log:
            os.close(ends[2])
            ends[2] = os.open(log, os.O_WRONLY | os.O_CREAT | os.O_TRUNC)
            os.close(pipes[2][0])
        actions = [(os.POSIX_SPAWN_DUP2, end, stream) for stream, end in enumerate(ends)]
        arguments = [str(argument) for argument in command]
        self.input, self.output = pipes[0][1], pipes[1][0]
        self.error = os.open(log, os.O_RDONLY) if log else pipes[2][0]
        self.rest = {self.output: b'', self.error: b''}
        self.begun = time.perf_counter()
        self.pid = os.posix_spawn(arguments[0], arguments, os.environ, file_actions=actions)
        for end in ends:
            os.close(end)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end(signal.SIGKILL)
        for descriptor in (self.input, self.output, self.error):
            os.close(descriptor)

    def wait_for(self, text, stream=None):
        """Reads up to the end of the line that contains `text`. Returns the seconds since the process was started."""
        stream = stream or self.error
        while text.encode() not in self.rest[stream] or not self.rest[stream].endswith(b'\n'):
            if not (more := os.read(stream, 4096)):
                if self.pid and os.waitpid(self.pid, os.WNOHANG)[0]:
                    self.pid = None
                if not self.pid:
                    raise SystemExit(f'bench: a process ended before it printed "{text}": {self.rest}')
                time.sleep(0.005)
            self.rest[stream] += more
        seconds = time.perf_counter() - self.begun
        self.rest[stream] = b''
        return seconds

    def end(self, number):
        """Sends a signal and reaps the process. Returns the seconds until the process has ended."""
        begun = time.perf_counter()
        if self.pid:
            os.kill(self.pid, number)
            os.waitpid(self.pid, 0)
            self.pid = None
        return time.perf_counter() - begun


def output_of(*command):
    """Runs a program to its end and returns its output."""
    with Process(*command) as process:
        parts = []
        while part := os.read(process.output, 1 << 16):
            parts.append(part)
        _, status = os.waitpid(process.pid, 0)
        process.pid = None
        if status:
            raise SystemExit(f'bench: {command} failed: {os.read(process.error, 4096).decode()}')
        return b''.join(parts).decode()


def processor_time(pid):
    """Returns the total processor time of all threads in microseconds."""
    files = pathlib.Path(f'/proc/{pid}/task').glob('*/schedstat')
    return sum(int(file.read_text().split()[0]) for file in files) / 1000


def waits(pid):
    """Returns the number of times that the process's threads have waited so far."""
    statuses = [file.read_text() for file in pathlib.Path(f'/proc/{pid}/task').glob('*/status')]
    return sum(int(re.search(r'\nvoluntary_ctxt_switches:\s+(\d+)', status)[1]) for status in statuses)


def memory(pid):
    """Returns memory sizes in KiB. private-without-libraries excludes unmodified pages of libraries, which other
    processes could share; anonymous memory has no file."""
    sums = dict.fromkeys(['private', 'private-without-libraries', 'anonymous', 'resident'], 0)
    is_library = False
    for line in pathlib.Path(f'/proc/{pid}/smaps').read_text().splitlines():
        name, *words = line.split()
        if not name.endswith(':'):
            is_library = '.so' in line
            continue
        if name in ('Private_Clean:', 'Private_Dirty:'):
            sums['private'] += int(words[0])
            if name == 'Private_Dirty:' or not is_library:
                sums['private-without-libraries'] += int(words[0])
        elif name in ('Rss:', 'Anonymous:'):
            sums['resident' if name == 'Rss:' else 'anonymous'] += int(words[0])
    return sums
