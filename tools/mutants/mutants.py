#!/usr/bin/python3
"""Changes the program in one place at a time and checks that a test fails each time.

All mutants of a folder are built into its test programs at once, and a program activates one mutant when it starts. So
each mutant costs only the run of the tests that reach it. Constants that the compiler computes need a build per mutant.
"""

import argparse
import concurrent.futures
import json
import os
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import time
from collections import defaultdict

import points
import schemata

FOLDERS = ['protocol', 'core', 'helper', 'platform/posix']
# The single-process test programs of each folder, the most specific first.
PROGRAMS = {
    'protocol': ['protocol_test', 'helper_test', 'client_test', 'linux_socket_test'],
    'core/smc': ['smc_test', 'fan_test', 'hold_test', 'helper_test', 'simulator_model_test'],
    'core/fan': ['fan_test', 'smc_test', 'hold_test', 'helper_test', 'posix_test'],
    'core/hold': ['hold_test', 'helper_test', 'in_memory_conformance_test', 'simulator_link_test'],
    'core/watch': ['watch_test', 'helper_test', 'posix_test'],
    'core/queue': ['hold_test', 'helper_test'],
    'helper': ['helper_test', 'in_memory_conformance_test'],
    'platform/posix': ['posix_test', 'helper_test', 'linux_log_test', 'linux_loop_test', 'linux_socket_test'],
}
SUPPORT = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'support')
EXPLANATIONS = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'equivalent.txt')
TOP = os.getcwd()
TREE = 'build/mutants'
NUMBERS = 400  # per file, so that a change of one file does not rebuild the others
REQUIRED = 95  # percent
QUICK = 100  # milliseconds; slower tests run after the others


def programs_of(path):
    folder = max((folder for folder in PROGRAMS if path.startswith(folder + '/')), key=len)
    return PROGRAMS[folder]


def run(command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **options)


def sources(folders):
    listed = run(['git', 'ls-files', '--cached', '--others', '--exclude-standard', '--', *folders]).stdout.split()
    return [path for path in listed if path.endswith(('.cpp', '.h')) and os.path.exists(path)]


def write_if_changed(path, text):
    if os.path.exists(path):
        with open(path, encoding='latin-1') as file:
            if file.read() == text:
                return
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, 'w', encoding='latin-1') as file:
        file.write(text)


class Build:
    """A copy of the tree whose sources contain their mutants."""

    def __init__(self, folders):
        self.source = os.path.join(TOP, TREE, 'source')
        self.binary = os.path.join(TOP, TREE, 'build')
        self.texts, self.dropped = {}, defaultdict(set)
        self.copy()
        self.configure()
        self.paths = sources(folders)
        self.sites = points.find(self.paths, self.configure_plainly())
        for path in self.paths:
            with open(path, encoding='latin-1') as file:
                self.texts[path] = file.read()
        self.mutants = [mutant for path in self.paths for mutant in schemata.all_mutants(self.sites[path])]
        for index, path in enumerate(self.paths):
            for number, mutant in enumerate(schemata.all_mutants(self.sites[path]), 1 + index * NUMBERS):
                mutant.number = number
        self.programs = sorted({program for path in self.paths for program in programs_of(path)})

    def copy(self):
        """Copies all files except existing sources that will contain mutants. Other methods write these sources."""
        listed = run(['git', 'ls-files', '--cached', '--others', '--exclude-standard']).stdout.splitlines()
        kept = {os.path.relpath(os.path.join(folder, name), self.source)
                for folder, _, names in os.walk(self.source) for name in names} - set(listed)
        for path in kept:
            os.remove(os.path.join(self.source, path))
        mutated = set(sources(FOLDERS))
        for path in listed:
            target = os.path.join(self.source, path)
            if path in mutated and os.path.exists(target) or not os.path.exists(path):
                continue
            with open(path, encoding='latin-1') as file:
                write_if_changed(target, file.read())
            shutil.copymode(path, target)

    def configure(self):
        """Adds the support code that a test program with mutants needs."""
        recorder = os.path.join(TOP, TREE, 'recorder.o')
        header = os.path.join(SUPPORT, 'Mutant.h')
        flags = f'-include {header} -w -Wno-c++11-narrowing'
        must(['clang++', '-std=c++20', '-I', TOP, '-w', '-c', os.path.join(SUPPORT, 'Recorder.cpp'), '-o',
              recorder])
        must(['cmake', '-S', self.source, '-B', self.binary, '-G', 'Ninja', '-DCMAKE_CXX_COMPILER=clang++',
              '-DCMAKE_BUILD_TYPE=', f'-DCMAKE_CXX_FLAGS={flags}'])
        # Sets the linker flag only after CMake's own link checks, because their programs have no tests to record.
        must(['cmake', self.binary, f'-DCMAKE_EXE_LINKER_FLAGS={recorder}'])

    @staticmethod
    def configure_plainly():
        """Returns the commands that compile the sources."""
        plain = os.path.join(TOP, TREE, 'plain')
        must(['cmake', '-S', TOP, '-B', plain, '-G', 'Ninja', '-DCMAKE_CXX_COMPILER=clang++', '-DCMAKE_BUILD_TYPE='])
        return plain

    def write(self, path):
        text = schemata.schemata(self.texts[path], self.sites[path], self.dropped[path])
        write_if_changed(os.path.join(self.source, path), text)

    def make(self, programs):
        return run(['ninja', '-C', self.binary, '-j', str(os.cpu_count()), '-k', '0', *programs])

    def build_all(self):
        """Builds with all mutants. Excludes lines that do not compile; their mutants are built one by one later."""
        for path in sources(FOLDERS):
            if path not in self.paths:
                with open(path, encoding='latin-1') as file:
                    write_if_changed(os.path.join(self.source, path), file.read())
        while True:
            for path in self.paths:
                self.write(path)
            result = self.make(self.programs)
            if result.returncode == 0:
                return
            if not self.drop_lines(result.stdout):
                raise SystemExit(result.stdout[-5000:])

    def drop_lines(self, output):
        found = False
        for path, line, kind, message in re.findall(r'^([^:\n]+):(\d+):\d+: (error|note): (.*)$', output, re.M):
            # The compiler finds headers through links, and a compiler cache uses paths relative to the build folder.
            path = os.path.relpath(os.path.realpath(os.path.join(self.binary, path)), os.path.realpath(self.source))
            line = int(line)
            if path in self.dropped.keys() | set(self.paths) and (kind == 'error' or 'declared here' in message):
                found = found or line not in self.dropped[path]
                self.dropped[path].add(line)
        return found

    def write_single(self, mutant):
        text = schemata.single(self.texts[mutant.path], self.sites[mutant.path], mutant.number)
        write_if_changed(os.path.join(self.source, mutant.path), text)


def must(command):
    result = run(command)
    if result.returncode != 0:
        raise SystemExit(result.stdout)


class Tests:
    """The test programs, and the mutants that each test reaches."""

    def __init__(self, build):
        self.build = build
        self.paths = {name: self.find(name) for name in build.programs}
        self.reaching = defaultdict(lambda: defaultdict(list))  # mutant, program: tests with their milliseconds
        self.seconds = {}

    def find(self, name):
        for folder, _, names in os.walk(self.build.binary):
            if name in names and os.access(os.path.join(folder, name), os.X_OK) and 'CMakeFiles' not in folder:
                return os.path.join(folder, name)
        raise SystemExit(f'{name} was not built')

    def record(self):
        for name, path in self.paths.items():
            record = os.path.join(TOP, TREE, name + '.record')
            started = time.monotonic()
            environment = {**os.environ, 'KELO_MUTANT_RECORD': record}
            result = run([path, '--gtest_brief=1'], env=environment)
            self.seconds[name] = time.monotonic() - started
            if result.returncode != 0:
                raise SystemExit(f'{name} fails without any mutant:\n{result.stdout[-3000:]}')
            with open(record, encoding='utf-8') as file:
                for line in file:
                    test, milliseconds, *numbers = line.split()
                    for number in numbers:
                        self.reaching[int(number)][name].append((test, int(milliseconds)))

    def catch(self, mutant, number):
        """Returns the first program in which a test that reaches the mutant fails, or None."""
        reaching = self.reaching[mutant.number]
        for is_quick in (True, False):
            for name in programs_of(mutant.path):
                tests = [test for test in reaching.get(name, []) if (test[1] <= QUICK) == is_quick]
                if tests and self.fails(name, number, tests):
                    return name
        return None

    def catch_at_all(self, mutant, number):
        """Like `catch`, but runs all tests, because a test may reach a mutant in another process."""
        for name in programs_of(mutant.path):
            if self.fails(name, number, None):
                return name
        return None

    def fails(self, name, number, tests):
        seconds = sum(test[1] for test in tests) / 1000 if tests else self.seconds[name]
        command = [self.paths[name], '--gtest_brief=1', '--gtest_fail_fast']
        names = ':'.join(test for test, _ in tests) if tests else '*'
        environment = {**os.environ, 'KELO_MUTANT': str(number), 'GTEST_FILTER': names}
        # Runs the program twice, because a test may fail on a busy machine.
        return not any(ends_well(command, environment, 10 + 5 * seconds) for _ in range(2))


def ends_well(command, environment, limit):
    """Returns whether a program exits in time with status 0. Kills a program that does not, with its children."""
    process = subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL, start_new_session=True, preexec_fn=limit_resources)
    try:
        return process.wait(limit) == 0
    except subprocess.TimeoutExpired:
        return False
    finally:
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()


def limit_resources():
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_AS, (4 << 30, 4 << 30))


class Explanations:
    """The mutants that no test can catch, identified by the text of their line, and the reasons."""

    def __init__(self):
        self.reasons, self.used = {}, set()
        if os.path.exists(EXPLANATIONS):
            with open(EXPLANATIONS, encoding='utf-8') as file:
                entries = re.split(r'\n\s*\n', re.sub(r'^#.*\n', '', file.read(), flags=re.M).strip())
            for entry in filter(None, entries):
                path, line, *rest = entry.split('\n')
                reason = ' '.join(text.strip() for text in rest if not text.startswith('- '))
                for what in rest:
                    if what.startswith('- '):
                        self.reasons[(path, line, what[2:])] = reason

    def reason(self, mutant):
        key = (mutant.path, mutant.line_text, mutant.what)
        if key in self.reasons:
            self.used.add(key)
        return self.reasons.get(key)

    def unused(self, paths):
        return [key for key in self.reasons if key[0] in paths and key not in self.used]


class Campaign:
    """A run of the tests on many mutants."""

    def __init__(self, build, tests, chosen, explanations):
        self.build, self.tests, self.chosen, self.explanations = build, tests, chosen, explanations
        self.verdicts = {}  # number: "caught by ...", "survived", "does not compile"
        self.began = time.monotonic()

    def run(self):
        chosen_at_start = [mutant for mutant in self.chosen if self.is_in_build(mutant)]
        others = [mutant for mutant in self.chosen if not self.is_in_build(mutant)]
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            for mutant, name in zip(chosen_at_start, pool.map(self.try_chosen, chosen_at_start)):
                self.note(mutant, name)
        others += [mutant for mutant in chosen_at_start if self.is_survivor(mutant) and mutant.is_constant and
                   not self.explanations.reason(mutant)]
        for mutant in others:
            self.verdicts[mutant.number] = self.try_built(mutant)
            self.show(mutant)

    def is_in_build(self, mutant):
        return mutant.line not in self.build.dropped[mutant.path] and mutant.number in self.numbers_in_build()

    def numbers_in_build(self):
        if not hasattr(self, 'in_build'):
            self.in_build = set()
            for path in self.build.paths:
                with open(os.path.join(self.build.source, path), encoding='latin-1') as file:
                    self.in_build.update(int(number) for number in re.findall(r'utant\((\d+)\)', file.read()))
        return self.in_build

    def try_chosen(self, mutant):
        name = self.tests.catch(mutant, mutant.number)
        if name is None and not mutant.is_constant:
            name = self.tests.catch_at_all(mutant, mutant.number)
        return name

    def try_built(self, mutant):
        programs = programs_of(mutant.path)
        self.build.write_single(mutant)
        result = self.build.make(programs)
        if result.returncode != 0:
            verdict = 'caught by static_assert' if 'static_assert failed' in result.stdout else 'does not compile'
        else:
            name = self.tests.catch_at_all(mutant, 0)
            verdict = f'caught by {name}' if name else 'survived'
        self.build.write(mutant.path)
        return verdict

    def note(self, mutant, name):
        self.verdicts[mutant.number] = f'caught by {name}' if name else 'survived'
        self.show(mutant)

    def show(self, mutant):
        minutes = (time.monotonic() - self.began) / 60
        verdict = self.verdicts[mutant.number]
        if not verdict.startswith('caught'):
            progress = f'{len(self.verdicts)}/{len(self.chosen)}, {minutes:.0f} min'
            print(f'[{progress}] {mutant.describe()}: {verdict}', flush=True)

    def is_survivor(self, mutant):
        return self.verdicts.get(mutant.number) == 'survived'


def folder_of(path):
    return next(folder for folder in FOLDERS if path.startswith(folder + '/'))


def report(campaign, explanations):
    """Prints the table. Returns whether enough mutants are caught."""
    is_good = True
    print(f'\n{"folder":<16} {"mutants":>8} {"caught":>8} {"explained":>10} {"survivors":>10} {"of all, %":>10} '
          f'{"of catchable mutants, %":>31}')
    for folder in FOLDERS:
        mutants = [mutant for mutant in campaign.chosen if folder_of(mutant.path) == folder and
                   campaign.verdicts[mutant.number] != 'does not compile']
        if not mutants:
            continue
        alive = [mutant for mutant in mutants if campaign.is_survivor(mutant)]
        explained = [mutant for mutant in alive if explanations.reason(mutant)]
        caught = len(mutants) - len(alive)
        share = 100 * caught / max(1, len(mutants) - len(explained))
        is_good = is_good and share >= REQUIRED
        print(f'{folder:<16} {len(mutants):>8} {caught:>8} {len(explained):>10} {len(alive) - len(explained):>10} '
              f'{100 * caught / len(mutants):>10.1f} {share:>31.1f}')
    survivors = [mutant for mutant in campaign.chosen if campaign.is_survivor(mutant)]
    for title, is_listed in (('survivors', lambda reason: not reason), ('explained', bool)):
        listed = [mutant for mutant in survivors if is_listed(explanations.reason(mutant))]
        print(f'\n{title}: {len(listed)}')
        for mutant in listed:
            reason = explanations.reason(mutant)
            print(f'  {mutant.describe()}' + (f'\n      {reason}' if reason else ''))
    return is_good


def key_of(mutant):
    return [mutant.path, mutant.line_text, mutant.what]


def choose(arguments, mutants):
    if arguments.survivors:
        with open(os.path.join(TREE, 'survivors.json'), encoding='utf-8') as file:
            survivors = json.load(file)
        mutants = [mutant for mutant in mutants if key_of(mutant) in survivors]
    if arguments.sample and arguments.sample < len(mutants):
        mutants = random.Random(arguments.seed).sample(mutants, arguments.sample)
    return sorted(mutants, key=lambda mutant: mutant.number)


def parse_arguments():
    parser = argparse.ArgumentParser(prog='./dev prove mutants', description=__doc__.split('\n', maxsplit=1)[0])
    parser.add_argument('folder', nargs='?', help='one of ' + ', '.join(FOLDERS) + ', or a folder in one of them')
    parser.add_argument('--sample', type=int, help='try only this many mutants')
    parser.add_argument('--seed', type=int, default=1, help='the seed that selects the sample')
    parser.add_argument('--survivors', action='store_true', help='try only the mutants that survived the last run')
    arguments = parser.parse_args()
    if arguments.folder and not any((arguments.folder + '/').startswith(folder + '/') for folder in FOLDERS):
        parser.error(f'"{arguments.folder}" is not in a folder with mutants')
    return arguments


def main():
    arguments = parse_arguments()
    build = Build([arguments.folder] if arguments.folder else FOLDERS)
    chosen = choose(arguments, build.mutants)
    print(f'{len(build.mutants)} mutants, {len(chosen)} of them to try; building', flush=True)
    build.build_all()
    tests = Tests(build)
    tests.record()
    durations = ', '.join(f'{name} {seconds:.1f} s' for name, seconds in tests.seconds.items())
    print(f'without a mutant: {durations}', flush=True)
    explanations = Explanations()
    campaign = Campaign(build, tests, chosen, explanations)
    campaign.run()
    with open(os.path.join(TREE, 'survivors.json'), 'w', encoding='utf-8') as file:
        json.dump([key_of(mutant) for mutant in chosen if campaign.is_survivor(mutant)], file)
    is_good = report(campaign, explanations)
    if not (arguments.sample or arguments.survivors):
        for key in explanations.unused(build.paths):
            print('explained, but caught: ' + ' | '.join(key))
            is_good = False
    sys.exit(0 if is_good else 1)


if __name__ == '__main__':
    main()
