"""Runs ./test and .ci/run on machines where CMake, CTest and clang-tidy are played."""

import unittest

from setup_script import ALL, ARM_PACKAGES, FOREIGN_PACKAGES, OnMachines, installed

# Each writes down what it is asked, and fails if that is what FAILS has.
PLAYED = '''#!/usr/bin/env bash
echo "${0##*/} $2" >>"$MACHINE/asked"
[ "${0##*/}" = cmake ] || echo "the summary of $2"
[ "${0##*/} $2" != "$FAILS" ]
'''
EVERYTHING = ['asan', 'tsan', 'fuzz', 'release']
NOT_TESTED = 'Not tested (arm): its packages cannot be had'


class Test(OnMachines):
    def run_script(self, script, *presets, unavailable=(), fails=''):
        machine = self.machine(installed(each for each in ALL if each not in unavailable),
                               unavailable=unavailable, FAILS=fails)
        for program in ('clang-tidy', 'cmake', 'ctest'):
            machine.play(program, PLAYED)
        run = machine.run(script, *presets)
        built, tested = ([line.removeprefix(start) for line in machine.asked()
                          if line.startswith(start)] for start in ('cmake build/', 'ctest build/'))
        return run, built, tested

    def test_tests_what_is_named(self):
        foreign, native = FOREIGN_PACKAGES[:1], ARM_PACKAGES[:1]
        for name, presets, unavailable, told, tested in (
                ('nothing', [], [], False, EVERYTHING),
                ('one', ['tsan'], [], False, ['tsan']),
                ('two', ['release', 'arm'], [], False, ['release', 'arm']),
                ('without packages that only arm needs', [], foreign + native, False, EVERYTHING),
                ('arm, which cannot be', ['arm'], foreign, True, []),
                ('arm, which cannot be, and another', ['arm', 'tsan'], foreign, True, ['tsan']),
        ):
            with self.subTest(name):
                run, built, ran = self.run_script('test', *presets, unavailable=unavailable)
                self.assertEqual((0, told, tested, tested),
                                 (run.returncode, NOT_TESTED in run.stderr.splitlines(), built, ran))
                last = f'the summary of build/{tested[-1]}' if tested else ''
                self.assertEqual(last, (run.stdout.splitlines() or [''])[-1])

    def test_fails_with_what_fails(self):
        for name, unavailable, fails in (
                ('the configuration', [], 'cmake arm'),
                ('the build', [], 'cmake build/arm'),
                ('the tests', [], 'ctest build/arm'),
                ('the compiler is not there', ARM_PACKAGES[:1], ''),
        ):
            with self.subTest(name):
                run, _, _ = self.run_script('test', 'arm', unavailable=unavailable, fails=fails)
                self.assertNotEqual(0, run.returncode)

    def test_integration_tests_everything(self):
        run, _, tested = self.run_script('.ci/run')
        self.assertEqual((0, EVERYTHING + ['arm']), (run.returncode, tested))
        for failing in [f'ctest build/{name}' for name in tested] + ['clang-tidy -p']:
            run, _, _ = self.run_script('.ci/run', fails=failing)
            self.assertNotEqual(0, run.returncode, failing)


if __name__ == '__main__':
    unittest.main()
