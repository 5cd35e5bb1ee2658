"""Holds the files that tell a set of the program against the sources: init's, the manifests', and
the lines for ueventd."""

import os
import re
import unittest
import xml.etree.ElementTree as xml

import sources


def init_sections():
    """The sections of the init file: the words of their first lines, and of the lines in them."""
    sections = []
    for line in sources.read('service/hidlaudio.rc').splitlines():
        if line.strip() and not line.startswith('#'):
            if line[0].isspace():
                sections[-1][1].append(line.split())
            else:
                sections.append((line.split(), []))
    return sections


def names():
    """All names under which the service is found."""
    return sorted(f'{sources.PACKAGE}@{version}::{interface}'
                  for interface, chain in sources.served().items() for version in chain)


class InitFile(unittest.TestCase):
    def test_has_nothing_but_the_folders_and_the_service(self):
        self.assertEqual([['on', 'post-fs-data'],
                          ['service', 'vendor.hidlaudio', '/vendor/bin/hw/hidlaudio']],
                         [first for first, _ in init_sections()])

    def test_makes_the_folders_of_the_files(self):
        (_, made), _ = init_sections()
        self.assertEqual([['mkdir', '/data/vendor/zavo', '0771', 'root', 'system'],
                          ['mkdir', '/data/vendor/zavo/hidlaudio', '0770', 'audioserver', 'audio']],
                         made)
        kept = {os.path.dirname(path) for path in sources.paths().values()
                if path.startswith('/data/') and not path.startswith('/data/vendor/tmp/')}
        self.assertEqual(kept, {made[-1][1]})

    def test_starts_the_service_as_it_is_meant(self):
        _, (_, options) = init_sections()
        self.assertEqual([['class', 'hal'], ['user', 'audioserver'], ['group', 'audio']],
                         [option for option in options if option[0] != 'interface'])

    def test_names_every_interface(self):
        _, (_, options) = init_sections()
        self.assertEqual([['interface', name, 'default'] for name in names()],
                         sorted(option for option in options if option[0] == 'interface'))


class Manifest(unittest.TestCase):
    def check(self, path, expected):
        manifest = xml.fromstring(sources.read(path))
        self.assertEqual(('manifest', {'version': '1.0', 'type': 'device'}),
                         (manifest.tag, manifest.attrib))
        hal, = manifest
        self.assertEqual(('hal', {'format': 'hidl'}), (hal.tag, hal.attrib))
        told = [(each.tag, each.attrib, each.text) for each in hal]
        self.assertEqual([('name', {}, sources.PACKAGE), ('transport', {}, 'hwbinder')], told[:2])
        self.assertEqual(sorted(('fqname', {}, f'@{version}::{interface}/default')
                                for interface, version in expected), sorted(told[2:]))

    def test_names_every_interface(self):
        self.check('service/manifest_hidlaudio.xml',
                   [(interface, version) for interface, chain in sources.served().items()
                    for version in chain])

    def test_of_the_highest_minor_versions_names_those_only(self):
        def major(version):
            return version.split('.')[0]

        highest = {major(version): version for version in sources.versions()}
        self.check('service/manifest_hidlaudio_highest.xml',
                   [(interface, version) for interface, chain in sources.served().items()
                    for version in chain if version == highest[major(version)]])


class Node(unittest.TestCase):
    def test_is_open_to_the_service(self):
        device, = [path for path in sources.paths().values() if path.startswith('/dev/')]
        lines = [line.split() for line in sources.read('maker/ueventd.rc').splitlines()
                 if not line.startswith('#')]
        self.assertEqual([[device, '0660', 'audioserver', 'audio']], lines)


class Names(unittest.TestCase):
    def test_are_all_frozen(self):
        frozen = re.findall(r' (\S+)$', sources.read('interfaces/current.txt'), re.MULTILINE)
        self.assertEqual([], sorted(set(names()) - set(frozen)))

    def test_are_all_in_the_readme(self):
        self.assertEqual([f'{name}/default' for name in names()],
                         re.findall(rf'^ +({sources.PACKAGE}@\S+)$', sources.read('README.md'),
                                    re.MULTILINE))


if __name__ == '__main__':
    unittest.main()
