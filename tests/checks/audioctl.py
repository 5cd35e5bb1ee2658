"""audioctl: all of the .hal files is there, what it has no form for is named when its code is
generated, and its command line needs no service."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import sources

# What the interface of a package holds, and the complaint about it.
REFUSED = {
    'a scalar': ('set(double gain);', 'set: no JSON for the type double_t'),
    'a field': ('struct Gains { float[4] all; };',
                'V1_0::IService::Gains.all: no JSON for the type TYPE_ARRAY'),
    'a union': ('union Value { int32_t number; float gain; };',
                'V1_0::IService::Value: no JSON for the type TYPE_UNION'),
    'a bit field': ('enum Flag : uint8_t { A = 1 }; set(bitfield<Flag> flags);',
                    'set: no JSON for the type TYPE_MASK'),
    'an element': ('set(vec<handle> files);', 'set: no JSON for the type TYPE_HANDLE'),
    'an object in a list': ('set(vec<IService> all);',
                            'set: IService can only be an argument'),
    'an object as a result': ('get() generates (IService next);',
                              'get: IService can only be an argument'),
    'two results': ('get() generates (int32_t status, float gain);',
                    'get: no JSON for more than one result'),
    'a callback that answers': ('ask() generates (bool yes); set(IService callback);',
                                'V1_0::IService.ask: a callback with a result'),
}

AUDIOCTL = os.environ['AUDIOCTL']  # the program's path


class Generator(unittest.TestCase):
    def generate(self, body):
        """Its exit status, what it writes, and its complaint."""
        with tempfile.TemporaryDirectory() as folder:
            output = pathlib.Path(folder, 'interfaces.cpp')
            definition = pathlib.Path(folder, '1.0/IService.hal')
            definition.parent.mkdir()
            definition.write_text(f'package test@1.0;\ninterface IService {{ {body} }};\n')
            ended = subprocess.run(
                [sys.executable, '-B', sources.ROOT / 'host/audioctl/generate.py', '--output',
                 output, '--hidl-gen', 'hidl-gen', '--root',
                 f'android.hidl:{sources.ROOT}/host/interfaces/hidl', definition],
                stderr=subprocess.PIPE, text=True, check=False)
            return ended.returncode, output.read_text() if output.exists() else '', ended.stderr

    def test_it_names_what_it_cannot_do(self):
        for name, (body, complaint) in REFUSED.items():
            with self.subTest(name):
                self.assertEqual((1, '', f'generate.py: {complaint}\n'), self.generate(body))

    def test_it_takes_what_no_interface_has_yet(self):
        status, written, _ = self.generate(
            'struct Outer { struct Inner { int64_t at; }; vec<vec<Inner>> rows; };'
            'struct Empty {}; set(Outer words, Empty service) generates (Outer result);')
        self.assertEqual(0, status)
        for line in ('fields.read("rows", "vec<vec<Inner>>", &result->rows);',
                     'const auto words = words_.take<V1_0::IService::Outer>();'):
            self.assertIn(line, written)


def called(*words):
    """The lines that `audioctl call` prints."""
    return subprocess.run([AUDIOCTL, 'call', *words], stdout=subprocess.PIPE, text=True,
                          check=True).stdout.splitlines()


class Program(unittest.TestCase):
    def test_it_has_every_method_of_the_interfaces(self):
        methods = {}
        for path in sorted(sources.ROOT.glob('interfaces/*/I*.hal')):
            if path.stem.endswith('Callback'):
                continue
            text = ' '.join(re.sub(r'/\*.*?\*/', '', path.read_text(), flags=re.DOTALL).split())
            parent = re.search(r' extends (@[\d.]+)::', text)
            inherited = methods[path.stem + parent[1]] if parent else []
            methods[f'{path.stem}@{path.parent.name}'] = (
                inherited + re.findall(r'(\w+\([^;]*);', text))
        self.assertEqual(methods, {name: called(name) for name in called()})

    def test_it_tells_that_its_help_cannot_be_written(self):
        with open('/dev/full', 'w') as full:
            self.assertEqual(2, subprocess.run([AUDIOCTL, '--help'], stdout=full, check=False,
                                               stderr=subprocess.DEVNULL).returncode)

    def test_it_tells_that_it_waits_for_a_pipe(self):
        with tempfile.TemporaryDirectory() as folder:
            pipe = os.path.join(folder, 'pipe')
            os.mkfifo(pipe)
            with subprocess.Popen([AUDIOCTL, 'call', 'IHdmiAudio', 'setAudioCapabilities',
                                   f'@{pipe}'], stderr=subprocess.PIPE, text=True) as program:
                self.assertEqual(f'audioctl: reading the pipe {pipe} to its end\n',
                                 program.stderr.readline())
                program.kill()


if __name__ == '__main__':
    unittest.main()
