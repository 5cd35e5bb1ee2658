"""Has programs of 32 and of 64 bits share a set: each width is the service that the other one calls,
and finds the files that the other one left."""

import contextlib
import os
import pathlib
import re
import subprocess
import tempfile
import time
import unittest

import sources

# How a program is started, in either width.
WIDTHS = {'64 bits': [f'{sources.ROOT}/build/release/bin/'],
          '32 bits': [os.environ['EMULATOR'], f'{sources.ROOT}/build/arm/bin/']}
BOTH_WAYS = [tuple(WIDTHS), tuple(WIDTHS)[::-1]]
CALIBRATION = f'@{sources.ROOT}/examples/calibration.json'
KEPT = 'fs/data/vendor/zavo/hidlaudio'


def command(width, program, *words):
    *emulator, folder = WIDTHS[width]
    return [*emulator, folder + program, *map(str, words)]


def wait_for(condition):
    deadline = time.monotonic() + 30
    while not condition():
        assert time.monotonic() < deadline, 'it takes too long'
        time.sleep(0.02)


class Widths(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def make_set(self, name, model='backend'):
        self.set = self.folder / name
        self.environment = dict(os.environ, TVSET_ROOT=str(self.set))
        self.run_program('64 bits', 'tvset', 'create', '--model', model)

    def run_program(self, width, program, *words):
        """What a program writes to standard output, and its exit status unless that is 0."""
        run = subprocess.run(command(width, program, *words), env=self.environment,
                             stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        return run.stdout if run.returncode == 0 else (run.returncode, run.stdout)

    def audioctl(self, width, *words):
        return self.run_program(width, 'audioctl', *words)

    @contextlib.contextmanager
    def program(self, width, *words):
        process = subprocess.Popen(command(width, *words), env=self.environment, text=True,
                                   stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        with process:
            try:
                yield process
            finally:
                process.kill()

    @contextlib.contextmanager
    def service(self, width):
        with self.program(width, 'hidlaudio') as process:
            wait_for(lambda: process.poll() is not None or
                     'IHeadphoneVirtualizer' in self.audioctl(width, 'list'))
            yield

    def files(self):
        return {path.name: path.read_bytes() for path in sorted((self.set / KEPT).iterdir())}

    def test_programs_are_what_they_are_taken_for(self):
        for width, elf_class in (('32 bits', 1), ('64 bits', 2)):
            for program in ('hidlaudio', 'audioctl'):
                path = command(width, program)[-1]
                self.assertEqual(b'\x7fELF' + bytes([elf_class]), open(path, 'rb').read(5), path)

    def test_files_of_one_are_read_by_the_other(self):
        written = []
        for writer, reader in BOTH_WAYS:
            self.make_set(f'files of {writer}')
            with self.subTest(writer), self.service(writer):
                for call in (('IAcousticCalibration', 'setCalibratedData', CALIBRATION),
                             ('IAcousticCalibration', 'setEnabled', 'true'),
                             ('IOutputExternal', 'setForceEncodingEnabled', 'false')):
                    self.assertEqual('0\n', self.audioctl(writer, 'call', *call))
                status = self.audioctl(writer, 'status')
                self.assertRegex(status, r'stored channels +9\n')
                self.assertRegex(status, r'calibration +on\n')
                self.assertRegex(status, r'forced encoding +off\n')
            written.append(self.files())
            # What only the file knows now.
            (self.set / 'config/g_audio__bitstream_output_mode').unlink()
            with self.subTest(writer), self.service(reader):
                self.assertEqual(status, self.audioctl(reader, 'status'))
        self.assertEqual(['aud_ac.data', 'aud_ac_enabled.data', 'bitstream_output_mode.data'],
                         list(written[0]))
        self.assertEqual(*written)

    def test_clients_of_one_call_services_of_the_other(self):
        parameters = self.folder / 'parameters'
        parameters.write_bytes(bytes(range(251)) * 4000)
        for width, other in BOTH_WAYS:
            self.make_set(f'service of {width}')
            with self.subTest(service=width), self.service(width):
                for words in (('list',), ('status',), ('debug', 'IHeadphoneVirtualizer'),
                              ('call', 'IAcousticCalibration', 'getCalibrationParameters'),
                              ('call', 'ICenterSpeaker', 'getCenterSpeakerLatency'),
                              ('call', 'IHeadphoneVirtualizer', 'getAvailableVirtualizerTypes'),
                              ('call', 'IHeadphoneVirtualizer', 'append', 1, f'@{parameters}')):
                    told = self.audioctl(width, *words)
                    self.assertIsInstance(told, str, words)
                    self.assertEqual(told, self.audioctl(other, *words))
                self.assertEqual('0\n', self.audioctl(other, 'call', 'IAcousticCalibration',
                                                      'setCalibratedData', CALIBRATION))
                get = ('call', 'IAcousticCalibration', 'getCalibratedData')
                self.assertIn('"RB"', self.audioctl(width, *get))
                self.assertEqual(self.audioctl(width, *get), self.audioctl(other, *get))

                self.assertEqual('transferred 1004000 bytes\n',
                                 self.audioctl(other, 'upload', 'hrtf', parameters))
                self.assertEqual(parameters.read_bytes(),
                                 (self.set / 'bectrl/hrtf_parameters.bin').read_bytes())
                self.assertEqual(self.audioctl(width, 'debug', 'IHeadphoneVirtualizer'),
                                 self.audioctl(other, 'debug', 'IHeadphoneVirtualizer'))

                with self.program(other, 'audioctl', 'call', 'IHdmiAudio', 'setCallback',
                                  'callback') as client:
                    self.assertEqual('null\n', client.stdout.readline())
                    self.audioctl(width, 'call', 'IHdmiAudio', 'setAudioCapabilities',
                                  '["ARC_DD_PLUS"]')
                    self.assertEqual('onCapabilityChanged ["ARC_DD_PLUS"]\n',
                                     client.stdout.readline())

    def test_no_size_is_taken_for_a_smaller_one(self):
        large = self.folder / 'large'
        for width, other in BOTH_WAYS:
            self.make_set(f'sizes of {width}')
            with self.subTest(service=width), self.service(width):
                for size in (1 << 31, (1 << 32) + 1):
                    with open(large, 'wb') as file:
                        file.truncate(size)
                    self.assertEqual((2, ''), self.audioctl(other, 'upload', 'hrtf', large))
                for size in (-1, -1 << 31):
                    self.assertEqual('0\n', self.audioctl(other, 'call', 'IHeadphoneVirtualizer',
                                                          'allocateParameterBuffer', 1, size))


if __name__ == '__main__':
    unittest.main()
