"""Runs scripts/setup on machines that differ in what is installed and in what can be had. The
database of packages is a real one; apt-get is played, and dpkg where it changes something."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

import sources

NATIVE = subprocess.run(['dpkg', '--print-architecture'], check=True, stdout=subprocess.PIPE,
                        text=True).stdout.strip()
FOREIGN = 'armhf'


def packages(array, architecture):
    """What the script wants, by name and architecture."""
    words = re.search(rf'^{array}=\((.*?)\n\)', sources.read('scripts/setup'),
                      re.DOTALL | re.MULTILINE)[1]
    return [(name, architecture) for name in re.sub('#.*', '', words).split()]


PACKAGES = packages('packages', NATIVE)
ARM_PACKAGES = packages('arm_packages', NATIVE)
FOREIGN_PACKAGES = packages('armhf_packages', FOREIGN)
ALL = PACKAGES + ARM_PACKAGES + FOREIGN_PACKAGES

APT_GET = '''#!/usr/bin/env bash
echo "$*" >>"$MACHINE/asked"
[ "$1" = update ] && exit "$UPDATE_STATUS"
for word in "$@"; do
    for unavailable in $UNAVAILABLE; do [ "$word" = "$unavailable" ] && exit 100; done
done
for word in "$@"; do
    [[ $word != *:* ]] || "$MACHINE/add" "${word%:*}" "${word#*:}" installed
done
'''
DPKG = '''#!/usr/bin/env bash
[ "$1" = --add-architecture ] || exec /usr/bin/dpkg "$@"
echo "dpkg $*" >>"$MACHINE/asked"
exit "$DPKG_STATUS"
'''
ADD = '''#!/usr/bin/env bash
for ((; $# > 0; )); do
    cat <<END
Package: $1
Status: install ok $3
Architecture: $2
Multi-Arch: $([ "$2" = all ] && echo foreign || echo same)
Maintainer: nobody <nobody@localhost>
Version: 1
Description: none

END
    shift 3
done >>"$DPKG_ADMINDIR/status"
'''


def install(*wanted):
    """The call of apt-get."""
    return ' '.join(['install', *(f'{name}:{architecture}' for name, architecture in wanted)])


class Machine:
    """A machine with some packages: names, architectures and states."""

    def __init__(self, root, there, update_status=0, dpkg_status=0, unavailable=(), **variables):
        self.root = root
        for part in ('db/info', 'db/updates', 'bin'):
            (root / part).mkdir(parents=True)
        (root / 'db/status').touch()
        (root / 'db/arch').write_text(f'{NATIVE}\n{FOREIGN}\n')
        self.play('apt-get', APT_GET)
        self.play('dpkg', DPKG)
        self.play('sudo', '#!/bin/sh\nexec "$@"\n')
        self.play('../add', ADD)
        self.environment = dict(os.environ, PATH=f"{root}/bin:{os.environ['PATH']}",
                                MACHINE=str(root), DPKG_ADMINDIR=f'{root}/db',
                                UPDATE_STATUS=str(update_status), DPKG_STATUS=str(dpkg_status),
                                UNAVAILABLE=' '.join(map(':'.join, unavailable)), **variables)
        subprocess.run([root / 'add', *(word for package in there for word in package)],
                       check=True, env=self.environment)

    def play(self, program, text):
        path = self.root / 'bin' / program
        path.write_text(text)
        path.chmod(0o755)

    def run(self, script, *arguments):
        return subprocess.run([sources.ROOT / script, *arguments], env=self.environment,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def asked(self):
        path = self.root / 'asked'
        lines = path.read_text().splitlines() if path.exists() else []
        return [re.sub('(?<!dpkg) -[-\\w]+', '', line) for line in lines]


class OnMachines(unittest.TestCase):
    def machine(self, *arguments, **named):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        return Machine(pathlib.Path(folder.name), *arguments, **named)


def installed(wanted):
    return [(*package, 'installed') for package in wanted]


class Setup(OnMachines):
    def test_installs_what_is_missing(self):
        (first, _), *others = PACKAGES
        native, installs = (NATIVE, 'installed'), ['update', install((first, NATIVE))]
        for name, there, update_status, asked in (
                ('all is there', [native], 0, []),
                ('one is there for all architectures', [('all', 'installed')], 0, []),
                ('one is there for two architectures', [native, (FOREIGN, 'installed')], 0, []),
                ('nothing is there of one', [], 0, installs),
                ('one is there for another architecture', [(FOREIGN, 'installed')], 0, installs),
                ('one was removed', [(NATIVE, 'config-files')], 0, installs),
                ('the lists cannot be updated', [], 100, installs),
        ):
            with self.subTest(name):
                machine = self.machine(installed(others) + [(first, *each) for each in there],
                                       update_status)
                self.assertEqual(0, machine.run('scripts/setup').returncode)
                self.assertEqual(asked, machine.asked())

    def test_installs_what_arm_needs_when_it_is_asked_for(self):
        adds = [f'dpkg --add-architecture {FOREIGN}', 'update']
        for name, there, asked in (
                ('all is there', ALL, []),
                ('nothing of it is there', PACKAGES,
                 adds + [install(*ARM_PACKAGES, *FOREIGN_PACKAGES)]),
                ('the native ones are there', PACKAGES + ARM_PACKAGES,
                 adds + [install(*FOREIGN_PACKAGES)]),
                ('the foreign ones are there', PACKAGES + FOREIGN_PACKAGES,
                 ['update', install(*ARM_PACKAGES)]),
        ):
            with self.subTest(name):
                machine = self.machine(installed(there))
                self.assertEqual(0, machine.run('scripts/setup', 'arm').returncode)
                self.assertEqual(asked, machine.asked())

    def test_installs_the_others_and_names_what_cannot_be_had(self):
        native, arm, foreign = PACKAGES[0], ARM_PACKAGES[0], FOREIGN_PACKAGES[0]
        for name, unavailable, status, named in (
                ('a native one', [native], 1, native[0]),
                ('one that runs here for arm', [arm], 1, arm[0]),
                ('a foreign one', [foreign], 2, ':'.join(foreign)),
                ('a native and a foreign one', [native, foreign], 1,
                 f"{native[0]} {':'.join(foreign)}"),
        ):
            with self.subTest(name):
                machine = self.machine([], unavailable=unavailable)
                run = machine.run('scripts/setup', 'arm')
                self.assertEqual((status, f'Missing, and cannot be installed: {named}'),
                                 (run.returncode, run.stderr.splitlines()[-1]))
                for package in ALL:
                    self.assertIn(install(package), machine.asked())

    def test_fails_when_the_architecture_cannot_be_added(self):
        machine = self.machine(installed(PACKAGES), dpkg_status=2)
        self.assertEqual(1, machine.run('scripts/setup', 'arm').returncode)


if __name__ == '__main__':
    unittest.main()
