"""Holds the build files for the platform's tree (Android.bp) against the build of CMake."""

import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import blueprint
import sources

# The programs of the set, and the targets of the CMake build that make them for it.
PROGRAMS = {'hidlaudio': 'hidlaudio', 'audioctl': 'audioctl_set'}

# What links a program of ours on a workstation, and what does on a set.
COUNTERPARTS = {
    'hidl': {'libhidlbase', 'libhidltransport', 'libhwbinder'},
    'tvset': {'libpower'},  # and the maker's libraries
    'tvset_required': set(),
    'tvset_root': set(),
}


def cmake_targets(build):
    """The targets of a new CMake build as CMake itself describes them, by their names."""
    api = pathlib.Path(build, '.cmake/api/v1')
    (api / 'query').mkdir(parents=True)
    (api / 'query/codemodel-v2').touch()
    subprocess.run(['cmake', '-S', sources.ROOT, '-B', build, '-G', 'Ninja'], check=True,
                   stdout=subprocess.DEVNULL)
    targets = [json.loads(path.read_text()) for path in api.glob('reply/target-*.json')]
    return {target['name']: target for target in targets}


def needs(target):
    """The names of the targets that a target needs, directly or not."""
    return {dependency['id'].split('::')[0] for dependency in target.get('dependencies', [])}


def files(target):
    """The C++ files of a target, from its folder."""
    folder = target['paths']['source']
    return {pathlib.PurePath(source['path']).relative_to(folder).as_posix()
            for source in target['sources']
            if 'compileGroupIndex' in source and not source.get('isGenerated')}


def flags(target):
    group = target['compileGroups'][0]
    return set(' '.join(each['fragment'] for each in group['compileCommandFragments']).split())


def packages(target):
    """The HIDL packages whose generated code a target has."""
    found = (re.search(r'/hidl/(.*)/([\d.]+)/\w+\.cpp$', source['path'])
             for source in target['sources'] if source.get('isGenerated'))
    return {f"{match[1].replace('/', '.')}@{match[2]}" for match in found if match}


class BuildFiles(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        build = tempfile.TemporaryDirectory()
        cls.addClassCleanup(build.cleanup)
        cls.build = pathlib.Path(build.name)
        cls.targets = cmake_targets(cls.build)
        cls.modules = blueprint.read_modules()
        cls.by_name = {module.name: module for module in cls.modules}
        cls.compiled = [module for module in cls.modules if 'srcs' in module.properties
                        and module.kind.startswith('cc_')]

    def of_the_set(self, program):
        """The targets that make a program, by folder; a folder makes one module for the set."""
        by_folder = {}
        for name in {program} | needs(self.targets[program]):
            folder = self.targets[name]['paths']['source']
            generates = folder in ('interfaces', 'host/interfaces') or name.startswith('hidl_')
            if name not in COUNTERPARTS and not generates:
                by_folder.setdefault(folder, []).append(self.targets[name])
        return by_folder

    def test_every_folder_has_the_same_sources(self):
        cmake = {}
        for target in PROGRAMS.values():
            for folder, targets in self.of_the_set(target).items():
                cmake[folder] = set().union(*map(files, targets))
        self.assertEqual(cmake, {each.folder: set(each.get('srcs')) for each in self.compiled})

    def test_the_service_has_the_same_libraries_of_its_own(self):
        folders = self.of_the_set('hidlaudio')
        for folder, targets in folders.items():
            with self.subTest(folder):
                module, = [each for each in self.compiled if each.folder == folder]
                linked = {self.by_name[name].folder for name in module.get('static_libs')}
                needed = {self.targets[name]['paths']['source']
                          for target in targets for name in needs(target)}
                self.assertEqual(needed & set(folders), linked)

    def test_the_programs_have_the_same_platform_libraries(self):
        for program, name in PROGRAMS.items():
            with self.subTest(program):
                target = self.targets[name]
                expected = set()
                for need in needs(target):
                    expected |= COUNTERPARTS.get(need, set()) | packages(self.targets[need])
                built = {artifact['path'] for each in self.targets.values()
                         for artifact in each.get('artifacts', [])}
                for fragment in target['link']['commandFragments']:
                    library = fragment['fragment']
                    if fragment['role'] == 'libraries' and library not in built \
                            and not library.startswith('-Wl,-rpath'):
                        expected.add(re.sub(r'^/usr/lib/.*/android/(\w+)\.so$', r'\1', library))
                expected -= {'android.hidl.base@1.0', 'android.hidl.manager@1.0'}  # libhidlbase
                module = blueprint.with_defaults(self.by_name[program], self.modules)
                self.assertEqual(expected, set(module['shared_libs']))

    def test_audioctl_is_generated_the_same(self):
        rule, = [each for each in self.modules if each.kind == 'genrule']
        program, = [each for each in self.modules if each.kind == 'python_binary_host']
        self.assertEqual([rule.name], self.by_name['audioctl'].get('generated_sources'))
        self.assertEqual({program.name, 'hidl-gen'}, set(rule.get('tools')))
        with tempfile.TemporaryDirectory() as tree:
            here = pathlib.Path(tree, 'vendor/zavo/hidlaudio')
            hidl = pathlib.Path(tree, 'system/libhidl/transport')
            for link, folder in ((here, '.'), (hidl, 'host/interfaces/hidl')):
                link.parent.mkdir(parents=True)
                link.symlink_to(sources.ROOT / folder)
            inputs = []
            for module in [self.by_name[name.lstrip(':')] for name in rule.get('srcs')]:
                for pattern in module.get('srcs'):
                    inputs += (here / module.folder).glob(pattern)
            written = pathlib.Path(tree, *rule.get('out'))
            command = rule.get('cmd').replace('$(out)', str(written)) \
                .replace('$(in)', ' '.join(str(path.relative_to(tree)) for path in inputs)) \
                .replace('$(location hidl-gen)', 'hidl-gen') \
                .replace(f'$(location {program.name})',
                         f"{sys.executable} {here / program.folder / program.get('main')}")
            subprocess.run(command, shell=True, check=True, cwd=tree)
            subprocess.run(['cmake', '--build', self.build, '--target', rule.name], check=True,
                           stdout=subprocess.DEVNULL)
            expected = self.build / 'host/audioctl' / written.name
            self.assertEqual(expected.read_text(), written.read_text())

    def test_the_programs_take_what_the_maker_fills_in(self):
        for program in PROGRAMS:
            with self.subTest(program):
                defaults, = [each for each in self.by_name[program].get('defaults')
                             if self.by_name[each].folder == 'maker']
                self.assertEqual(f'{program}_maker_defaults', defaults)

    def test_the_compiler_is_told_the_same(self):
        for module in self.compiled:
            with self.subTest(module.folder):
                program = 'audioctl' if module.name == 'audioctl' else 'hidlaudio'
                told = blueprint.with_defaults(module, self.modules)
                expected = {each for each in told['cflags'] if each.startswith('-W')}
                expected.add(f"-std={told['cpp_std']}")
                # Without a word, the platform has neither.
                if '-fexceptions' not in told.get('cppflags', []):
                    expected.add('-fno-exceptions')
                if not told.get('rtti'):
                    expected.add('-fno-rtti')
                for target in self.of_the_set(PROGRAMS[program])[module.folder]:
                    self.assertEqual(expected, {each for each in flags(target)
                                                if re.match('-W|-std|-fno-(exceptions|rtti)',
                                                            each)})

    def test_every_version_of_the_interfaces_is_there(self):
        expected = [(f'interfaces/{version}', f'{sources.PACKAGE}@{version}')
                    for version in sources.versions()]
        self.assertEqual(expected, [(each.folder, each.name) for each in self.modules
                                    if each.kind == 'hidl_interface'])
        root, = [each for each in self.modules if each.kind == 'hidl_package_root']
        self.assertEqual({'name': sources.PACKAGE, 'use_current': True}, root.properties)
        self.assertTrue((sources.ROOT / root.folder / 'current.txt').exists())

    def test_all_of_it_goes_to_the_vendor_partition(self):
        for module in self.compiled:
            with self.subTest(module.folder):
                self.assertTrue(blueprint.with_defaults(module, self.modules).get('vendor'))

    def test_the_program_is_installed_with_its_files(self):
        module = self.by_name['hidlaudio']
        self.assertEqual(['hidlaudio.rc'], module.get('init_rc'))
        self.assertEqual(['manifest_hidlaudio.xml'], module.get('vintf_fragments'))
        path = f"/vendor/bin/{module.get('relative_install_path')}/{module.name}"
        self.assertIn(f'service vendor.hidlaudio {path}\n', sources.read('service/hidlaudio.rc'))


if __name__ == '__main__':
    unittest.main()
