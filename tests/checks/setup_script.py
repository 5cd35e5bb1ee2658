"""Runs scripts/setup on machines that differ in what is installed and in what can be had. The
database of packages is a real one; apt-get is played."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

import sources

NATIVE = subprocess.run(['dpkg', '--print-architecture'], check=True, stdout=subprocess.PIPE,
                        text=True).stdout.strip()
FOREIGN = 'armhf' if NATIVE != 'armhf' else 'amd64'
PACKAGES = re.sub('#.*', '', re.search(r'packages=\((.*?)\n\)', sources.read('scripts/setup'),
                                       re.DOTALL)[1]).split()

APT_GET = '''#!/usr/bin/env bash
echo "$*" >>"$MACHINE/asked"
[ "$1" = update ] && exit "$UPDATE_STATUS"
for word in "$@"; do [ "$word" = "$UNAVAILABLE:$NATIVE" ] && exit 100; done
for word in "$@"; do
    [ "$word" = "${word%:$NATIVE}" ] || "$MACHINE/add" "${word%:*}" "$NATIVE" installed
done
'''
ADD = '''#!/usr/bin/env bash
cat >>"$DPKG_ADMINDIR/status" <<END
Package: $1
Status: install ok $3
Architecture: $2
Multi-Arch: $([ "$2" = all ] && echo foreign || echo same)
Maintainer: nobody <nobody@localhost>
Version: 1
Description: none

END
'''


class Machine:
    """A machine with all packages of the project but the first, of which it has what is said."""

    def __init__(self, root, first, update_status=0, unavailable='-'):
        self.root = root
        for part in ('db/info', 'db/updates', 'bin'):
            (root / part).mkdir(parents=True)
        (root / 'db/status').touch()
        (root / 'db/arch').write_text(f'{NATIVE}\n{FOREIGN}\n')
        for name, text in (('add', ADD), ('bin/apt-get', APT_GET),
                           ('bin/sudo', '#!/bin/sh\nexec "$@"\n')):
            (root / name).write_text(text)
            (root / name).chmod(0o755)
        self.environment = dict(os.environ, PATH=f"{root}/bin:{os.environ['PATH']}",
                                MACHINE=str(root), DPKG_ADMINDIR=f'{root}/db', NATIVE=NATIVE,
                                UPDATE_STATUS=str(update_status), UNAVAILABLE=unavailable)
        there = [(package, 'all', 'installed') for package in PACKAGES[1:]]
        for package in there + [(PACKAGES[0], *each) for each in first]:
            subprocess.run([root / 'add', *package], check=True, env=self.environment)

    def set_up(self):
        """What setup answers: whether it succeeded, and the last line that it wrote."""
        run = subprocess.run([sources.ROOT / 'scripts/setup'], env=self.environment,
                             stderr=subprocess.PIPE, text=True)
        return run.returncode == 0, (run.stderr.splitlines() or [''])[-1]

    def asked(self):
        path = self.root / 'asked'
        lines = path.read_text().splitlines() if path.exists() else []
        return [re.sub(' -[-\\w]+', '', line) for line in lines]

    def remove(self, package):
        path = self.root / 'db/status'
        path.write_text(re.sub(rf'Package: {re.escape(package)}\n.*?\n\n', '', path.read_text(),
                               flags=re.DOTALL))


class Setup(unittest.TestCase):
    def machine(self, *arguments, **named):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        return Machine(pathlib.Path(folder.name), *arguments, **named)

    def test_installs_what_is_missing(self):
        first, native = PACKAGES[0], (NATIVE, 'installed')
        installs = ['update', f'install {first}:{NATIVE}']
        for name, there, update_status, asked in (
                ('all is there', [native], 0, []),
                ('one is there for two architectures', [native, (FOREIGN, 'installed')], 0, []),
                ('nothing is there of one', [], 0, installs),
                ('one is there for another architecture', [(FOREIGN, 'installed')], 0, installs),
                ('one was removed', [(NATIVE, 'config-files')], 0, installs),
                ('the lists cannot be updated', [], 100, installs),
        ):
            with self.subTest(name):
                machine = self.machine(there, update_status)
                self.assertTrue(machine.set_up()[0])
                self.assertEqual(asked, machine.asked())

    def test_installs_the_others_and_names_what_cannot_be_had(self):
        machine = self.machine([], unavailable=PACKAGES[0])
        machine.remove(PACKAGES[1])
        self.assertEqual((False, f'Missing, and cannot be installed: {PACKAGES[0]}'),
                         machine.set_up())
        self.assertIn(f'install {PACKAGES[1]}:{NATIVE}', machine.asked())


if __name__ == '__main__':
    unittest.main()
