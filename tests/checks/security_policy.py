"""Holds the security policy for a set (sepolicy/) against the sources, and compiles it."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

import sources

POLICY = sources.ROOT / 'sepolicy'
PLATFORM = sources.ROOT / 'tests/platform_policy'

# Which permissions on a file or device a piece of code needs.
FILE_CALLS = {
    'create': r'O_CREAT|\b"w',
    'getattr': r'\bfopen\(',  # a stream asks for the size of its buffer
    'open': r'\bf?open\(',
    'read': r'\b(fread|read|readWhole)\(',
    'unlink': r'\bremove\(',
    'write': r'\bf?write\(',
}
DEVICE_CALLS = {
    'ioctl': r'\bioctl\(',
    'open': r'\bopen\(',
    'read': r'O_RDWR',
    'write': r'O_RDWR',
}

# What the platform wants of the types of labels, by their files and how the lines begin.
KINDS = {
    'file_contexts': {
        '/(vendor|system/vendor)/bin/': ['exec_type', 'file_type', 'vendor_file_type'],
        '/data/vendor/': ['data_file_type', 'file_type'],
        '/dev/': ['dev_type'],
    },
    'genfs_contexts': {'/': ['fs_type', 'proc_type']},
    'hwservice_contexts': {sources.PACKAGE: ['hwservice_manager_type']},
}

# Statements that no path gives a reason for, and what does.
REASONS = {
    'init_daemon_domain(hidlaudio)': r'\bint main\(',
    'hal_server_domain(hidlaudio, hal_zavo_audio)': r'\bregisterAsService\(',
    'add_hwservice(hal_zavo_audio_server, hal_zavo_audio_hwservice)': r'\bregisterAsService\(',
    'allow hal_zavo_audio_client hal_zavo_audio_hwservice:hwservice_manager find':
        r'\bregisterAsService\(',
    'binder_call(hal_zavo_audio_client, hal_zavo_audio_server)': r'\bregisterAsService\(',
    'binder_call(hal_zavo_audio_server, hal_zavo_audio_client)':
        r'->on(CapabilityChanged|TransferResult)\(',
    'allow hal_zavo_audio_server hal_zavo_audio_client:fifo_file write': r'\bsplice\(',
    'wakelock_use(hidlaudio)': r'\bacquire_wake_lock\(',
}


def statements(*paths):
    """The statements of policy files, each with single blanks."""
    text = re.sub(r'#[^\n]*', '', '\n'.join(path.read_text() for path in paths))
    return [' '.join(each.split()) for each in re.findall(r'\w+\([^)]*\)|[^;()]+(?=;)', text)]


def allowed(rules):
    """Allow rules by what they are about: (domain, type, class), and the permissions."""
    found = {}
    for rule in rules:
        match = re.fullmatch(r'allow (\w+) (?:(\w+)|{ ([^}]*) }):(\w+) (?:(\w+)|{ ([^}]*) })', rule)
        if match:
            for target in (match[2] or match[3]).split():
                found.setdefault((match[1], target, match[4]), set()).update(
                    (match[5] or match[6]).split())
    return found


def contexts(path):
    """The lines of a file of contexts: a pattern, and its type."""
    lines = [line.split() for line in path.read_text().splitlines() if not line.startswith('#')]
    return [(words[-2], re.fullmatch(r'u:object_r:(\w+):s0', words[-1])[1]) for words in lines]


def labels(path, folder):
    """What the contexts of a folder make of a path, the more special ones last."""
    found = [(pattern, label) for pattern, label in contexts(folder / 'file_contexts')
             if re.fullmatch(pattern, path)]
    if path.startswith('/proc'):
        inside = path[len('/proc'):] or '/'
        found += [(prefix, label) for prefix, label in contexts(folder / 'genfs_contexts')
                  if inside.startswith(prefix)]
    return found


def label(path):
    return (labels(path, PLATFORM) + labels(path, POLICY))[-1][1]


def needed():
    """What the service needs for its paths, in the form of allowed()."""
    texts = sources.service_sources().values()
    rules = {}

    def need(target, kind, permissions):
        rules.setdefault(('hidlaudio', target, kind), set()).update(permissions)

    for name, path in sources.paths().items():
        users = '\n'.join(text for text in texts if re.search(rf'\b{name}\b', text))
        calls, kind = (DEVICE_CALLS, 'chr_file') if path.startswith('/dev/') \
            else (FILE_CALLS, 'file')
        permissions = {each for each, call in calls.items() if re.search(call, users)}
        if permissions:
            need(label(path), kind, permissions)
        folder = os.path.dirname(path)
        if 'create' in permissions:
            need(label(folder), 'dir', {'add_name', 'write'})
        if 'unlink' in permissions:
            need(label(folder), 'dir', {'remove_name', 'write'})
        while folder != '/':
            need(label(folder), 'dir', {'search'})
            folder = os.path.dirname(folder)
    for (_, target, kind), granted in allowed(statements(PLATFORM / 'types')).items():
        rules.get(('hidlaudio', target, kind), set()).difference_update(granted)
    return {about: permissions for about, permissions in rules.items() if permissions}


class SecurityPolicy(unittest.TestCase):
    def test_labels_every_path_once(self):
        program = sources.read('service/hidlaudio.rc').split('vendor.hidlaudio ')[1].split()[0]
        used = []
        for path in [program, *sources.paths().values()]:
            with self.subTest(path):
                (pattern, _), = labels(path, POLICY)
                used.append(pattern)
        lines = contexts(POLICY / 'file_contexts') + contexts(POLICY / 'genfs_contexts')
        self.assertEqual({pattern for pattern, _ in lines}, set(used))

    def test_allows_what_the_paths_need_and_what_has_a_reason(self):
        texts = '\n'.join(sources.service_sources().values())
        expected = set(REASONS)
        for hal in re.findall(r'#include <android/hardware/(\w+)/', texts):
            expected.add(f'hal_client_domain(hidlaudio, hal_{hal})')
        about_paths = needed()
        rules = [each for each in statements(*POLICY.glob('*.te')) if not each.startswith('type ')
                 and not each.startswith('allowxperm ')]
        own = {each for each in rules if not set(allowed([each])) & set(about_paths)}
        self.assertEqual(about_paths, allowed(set(rules) - own))
        self.assertEqual(expected, own)
        for statement, reason in REASONS.items():
            self.assertRegex(texts, reason, statement)

    def test_lets_the_driver_get_its_requests_only(self):
        requests = re.findall(r'BECTRL_\w+ = 0x\w+(\w{4})\b', sources.read('platform/bectrl.h'))
        extended, = [each for each in statements(*POLICY.glob('*.te'))
                     if each.startswith('allowxperm ')]
        match = re.fullmatch(r'allowxperm hidlaudio (\w+):chr_file ioctl { 0x(\w+)-0x(\w+) }',
                             extended)
        self.assertEqual(label('/dev/zavo_bectrl'), match[1])
        self.assertEqual([int(each, 16) for each in sorted(requests)],
                         list(range(int(match[2], 16), int(match[3], 16) + 1)))

    def test_lets_every_interface_be_registered(self):
        self.assertEqual([(f'{sources.PACKAGE}::{interface}', 'hal_zavo_audio_hwservice')
                          for interface in sorted(sources.served())],
                         contexts(POLICY / 'hwservice_contexts'))

    def test_declares_the_types_of_its_labels(self):
        expected = {'hidlaudio': ['domain']}
        for name, kinds in KINDS.items():
            for pattern, label in contexts(POLICY / name):
                expected[label], = [attributes for start, attributes in kinds.items()
                                    if pattern.startswith(start)]
        declared = {}
        for each in statements(*POLICY.glob('*.te')):
            if each.startswith('type '):
                name, *attributes = each.removeprefix('type ').split(', ')
                declared[name] = sorted(attributes)
        self.assertEqual(expected, declared)

    def test_compiles_against_the_stand_in(self):
        client = 'type client, domain;\nhal_client_domain(client, hal_zavo_audio)\n'
        with tempfile.TemporaryDirectory() as folder:
            # The compiler reads the contexts of a file system only: it gets all labels as such.
            names = [label for name in ('file_contexts', 'hwservice_contexts')
                     for _, label in contexts(POLICY / name)]
            checked = ''.join(f'genfscon check /{number} u:object_r:{name}:s0\n'
                              for number, name in enumerate(names))
            for name, text in (('client', client), ('labels', checked)):
                pathlib.Path(folder, name).write_text(text)
            expanded = subprocess.run(
                ['m4', '--fatal-warnings', '-s', PLATFORM / 'classes', PLATFORM / 'macros',
                 POLICY / 'attributes', PLATFORM / 'types', *sorted(POLICY.glob('*.te')),
                 f'{folder}/client', PLATFORM / 'contexts', PLATFORM / 'genfs_contexts',
                 POLICY / 'genfs_contexts', f'{folder}/labels'],
                check=True, stdout=subprocess.PIPE).stdout
            pathlib.Path(folder, 'policy.conf').write_bytes(expanded)
            compiled = subprocess.run(['checkpolicy', '-M', '-o', f'{folder}/policy',
                                       f'{folder}/policy.conf'],
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
            self.assertEqual(0, compiled.returncode, compiled.stdout)


if __name__ == '__main__':
    unittest.main()
