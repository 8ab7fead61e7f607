"""Programs of others, built against what the project installs."""

import gzip
import os
import pathlib
import re
import shutil
import stat
import subprocess
import tempfile
import unittest

from installed_world import BUILD, SOURCE, InstalledTest, output_of, packages, why_not_hardened

TEMPLATE = 'technology = "standard"\nname = "base"\nversion = "1"\nkind = "os"\nsummary = "A base"\n'


def declared(header, mark):
    """The names that a C header declares with its export mark."""
    text = re.sub(r"/\*.*?\*/|^#.*?$", "", header.read_text(), flags=re.S | re.M)
    found = set()
    for declaration in re.findall(rf"{mark}\b(.*?);", text, re.S):
        name = re.search(r"(\w+)\s*\(", declaration) or re.search(r"(\w+)\s*(?:\[[^]]*\])?\s*$", declaration)
        found.add(name.group(1))
    return found


def exported(library):
    """The names that a library defines for others."""
    return {line.split()[2] for line in output_of("nm", "-D", "--defined-only", library).splitlines()}


class Consumers:
    """What holds for every kind of installation."""

    def node_with_a_template(self, folder):
        (folder / "base/root/etc").mkdir(parents=True)
        (folder / "base/root/etc/motd").write_text("welcome\n")
        (folder / "base/template.toml").write_text(TEMPLATE)
        self.run_in(folder, "qxa", "node", "init", folder / "node")
        self.run_in(folder, "qxa", "template", "pack", folder / "base", folder / "base.tar.gz")
        self.run_in(folder, "qxa", "--node-dir", folder / "node", "install", folder / "base.tar.gz")
        return folder / "node"

    def indexed_folder(self, folder):
        """A directory whose only file is a shortcut, turned into an index."""
        templates = folder / "templates"
        (templates / "base").mkdir(parents=True)
        (templates / "base/motd").write_text("welcome\n")
        (folder / "area").mkdir()
        shortcut = folder / "area/motd"
        shortcut.write_text("////base/motd")
        shortcut.chmod(0o644 | stat.S_ISVTX)
        self.run_in(folder, "qxfsutil", "--template-root", templates, "index", folder / "area")
        return folder / "area", templates

    def programs_work(self, programs):
        folder = self.folder / f"work-{programs.name}"
        folder.mkdir()
        node = self.node_with_a_template(folder)
        self.assertEqual("base 1: A base\n", self.run_in(folder, programs / "list_templates", node))

        area, templates = self.indexed_folder(folder)
        printed = self.run_in(folder, programs / "check_index", area, templates)
        self.assertIn("- motd -> ////base/motd\n", printed)
        self.assertTrue(printed.endswith("sound\n"), printed)
        (templates / "base/motd").unlink()
        done = subprocess.run(
            [programs / "check_index", area, templates], capture_output=True, env=self.environment, check=False
        )
        self.assertEqual(1, done.returncode)
        self.assertTrue(done.stdout.endswith(b"template files are gone\n"), done.stdout)

    def test_the_examples_are_built_with_cmake_and_work(self):
        built = self.folder / "cmake"
        output_of("cmake", "-S", self.prefix / "share/doc/qxapkg/examples", "-B", built, f"-DCMAKE_PREFIX_PATH={self.prefix}")
        output_of("cmake", "--build", built)
        self.programs_work(built)

    def test_the_examples_are_built_with_make_and_work(self):
        built = self.folder / "make"
        shutil.copytree(self.prefix / "share/doc/qxapkg/examples", built)
        self.run_in(built, "make", f"LDFLAGS=-Wl,-rpath,{self.library}")
        self.programs_work(built)

    def programs_and_libraries(self):
        """Every installed file of machine code with its dynamic section."""
        for file in self.prefix.rglob("*"):
            if file.is_file() and not file.is_symlink() and file.read_bytes()[:4] == b"\x7fELF":
                yield file, output_of("readelf", "-d", file)

    @unittest.skipIf(os.environ.get("QX_HARDENED") != "yes", "a build with sanitizers or for debugging")
    def test_everything_is_hardened(self):
        files = [file for file, _ in self.programs_and_libraries()]
        self.assertLessEqual(8, len(files))
        for file in files:
            with self.subTest(file.name):
                self.assertEqual([], why_not_hardened(file))
        checked = output_of("readelf", "-W", "--dyn-syms", self.prefix / "bin/qxa")
        self.assertRegex(checked, r"__\w+_chk\b.*GLIBC")

    def test_libraries_carry_the_number_of_their_interface(self):
        for file in [self.library / f"lib{name}.so" for name in ("qxagent", "qxctl", "qxtt")]:
            soname = re.search(r"SONAME.*\[(.*)\]", output_of("readelf", "-d", file)).group(1)
            self.assertEqual(f"{file.name}.0", soname)
            self.assertTrue((self.library / soname).is_symlink())
        plugin = self.library / "libQXAPackageManagerLocal.so"
        self.assertIn("[libQXAPackageManagerLocal.so]", output_of("readelf", "-d", plugin))

    def test_c_libraries_offer_what_their_headers_declare_and_nothing_else(self):
        headers = self.prefix / "include"
        for name in ("qxctl", "qxtt"):
            offered = declared(headers / name / f"{name}.h", f"{name.upper()}_API")
            self.assertEqual(offered, exported(self.library / f"lib{name}.so"), name)
        entries = {"initQXAPkgMLocal", "finiQXAPkgMLocal"}
        offered = declared(headers / "qxfsutil.h", "QXFSUTIL_API")
        self.assertEqual(offered | entries, exported(self.library / "libQXAPackageManagerLocal.so"))

    def test_every_command_has_a_manual_page(self):
        for command in [*self.prefix.glob("bin/*"), *self.prefix.glob("sbin/*")]:
            with self.subTest(command.name):
                self.assertTrue((self.prefix / f"share/man/man8/{command.name}.8.gz").is_file())

    def test_documents_come_along(self):
        documents = self.prefix / "share/doc/qxapkg"
        for name in ("README.md", "operations.md", "result-codes.md", "examples/CMakeLists.txt"):
            self.assertTrue((documents / name).is_file(), name)

    def test_completion_scripts_are_where_shells_look_and_can_be_read(self):
        for command in ("qxa", "qxfsutil", "qxpkg", "qxquota"):
            for shell, file in {
                "bash": f"bash-completion/completions/{command}",
                "zsh": f"zsh/vendor-completions/_{command}",
                "fish": f"fish/vendor_completions.d/{command}.fish",
            }.items():
                script = self.prefix / "share" / file
                self.assertTrue(script.is_file(), script)
                if shutil.which(shell):
                    output_of(shell, "-n", script)

    def test_completion_knows_the_command_behind_an_option_with_a_value(self):
        script = self.prefix / "share/bash-completion/completions/qxa"
        words = "COMP_WORDS=(qxa --node-dir ./node ct cr) COMP_CWORD=4"
        self.assertEqual(
            "create\n", self.run_in(self.folder, "bash", "-c", f"{words}; . {script}; _qxa; printf '%s\\n' $COMPREPLY")
        )


class CrossBuild(unittest.TestCase):
    """A build for a machine whose programs do not run here."""

    def test_no_program_is_run(self):
        with tempfile.TemporaryDirectory() as folder:
            output_of(
                "cmake", "-G", "Ninja", "-S", SOURCE, "-B", folder,
                "-DCMAKE_SYSTEM_NAME=Linux", "-DQX_BUILD_TESTS=OFF",
            )
            self.assertNotIn("completion bash", (pathlib.Path(folder) / "build.ninja").read_text())


class Installation(Consumers, InstalledTest):
    """`cmake --install` into a staging folder."""

    @classmethod
    def install(cls):
        output_of("cmake", "--install", BUILD, "--prefix", cls.root / "opt/qx")
        return cls.root / "opt/qx"

    def test_programs_start_wherever_they_lie(self):
        elsewhere = self.folder / "elsewhere"
        shutil.copytree(self.prefix, elsewhere, symlinks=True)
        environment = dict(self.environment, PATH=f"{elsewhere}/sbin:/usr/sbin:/usr/bin:/sbin:/bin")
        for program in [*elsewhere.glob("bin/*"), *elsewhere.glob("sbin/*")]:
            loaded = output_of("ldd", program, env=environment)
            self.assertNotIn("not found", loaded, program.name)
            output_of(program, "--version", env=environment)
        node = self.node_with_a_template(self.folder / "of-its-own")
        output_of(elsewhere / "bin/qxa", "--node-dir", node, "list", env=environment)

    def test_nothing_built_looks_for_libraries_in_the_current_folder(self):
        for file in [*BUILD.glob("bin/*"), *(BUILD / "lib").rglob("*.so")]:
            if file.read_bytes()[:4] == b"\x7fELF":
                self.assertNotRegex(output_of("readelf", "-d", file), r"PATH\).*\[(:|.*::|.*:\]|\])", file.name)


class Packages(Consumers, InstalledTest):
    """The Debian packages, unpacked into a folder."""

    needs_library_path = True

    @classmethod
    def install(cls):
        for file in packages().values():
            output_of("dpkg-deb", "-x", file, cls.root)
        return cls.root / "usr"

    def test_nothing_says_where_to_look_for_libraries(self):
        for file, dynamic in self.programs_and_libraries():
            self.assertNotRegex(dynamic, r"RPATH|RUNPATH", str(file))

    def test_the_development_files_say_what_they_are(self):
        self.assertIn("pkg-config", (self.prefix / "share/doc/qxapkg-dev/README.md").read_text())

    def field(self, package, name):
        return output_of("dpkg-deb", "-f", packages()[f"qxapkg-{package}"], name)

    def test_there_is_one_for_each_kind_of_user(self):
        self.assertEqual({"qxapkg-dev", "qxapkg-node", "qxapkg-plugin", "qxapkg-tools"}, set(packages()))

    def test_each_has_a_summary_of_its_own(self):
        summaries = {self.field(name, "Description").splitlines()[0] for name in ("dev", "node", "plugin", "tools")}
        self.assertEqual(4, len(summaries))

    def test_each_says_whose_it_is_and_what_changed(self):
        for name in packages():
            documents = self.prefix / "share/doc" / name
            self.assertIn("No licence has been granted", (documents / "copyright").read_text())
            changes = gzip.decompress((documents / "changelog.gz").read_bytes()).decode()
            version = output_of("dpkg-deb", "-f", packages()[name], "Version").strip()
            maintainer = output_of("dpkg-deb", "-f", packages()[name], "Maintainer").strip()
            self.assertTrue(changes.startswith(f"qxapkg ({version}) "), changes)
            self.assertIn(f" -- {maintainer}  ", changes)

    def test_libraries_that_are_linked_are_depended_on(self):
        for package, library in {"node": "libarchive13", "plugin": "libmd0", "tools": "libsmartcols1"}.items():
            self.assertIn(library, self.field(package, "Depends"))

    def test_the_engines_come_with_the_node(self):
        self.assertIn("bubblewrap", self.field("node", "Depends"))
        for engine in ("apt", "dnf", "mmdebstrap", "rpm"):
            self.assertRegex(self.field("node", "Recommends"), rf"\b{engine}\b")

    def test_packages_of_one_version_go_together(self):
        version = self.field("node", "Version").strip()
        for package in ("plugin", "tools", "dev"):
            self.assertIn(f"qxapkg-node (= {version})", self.field(package, "Depends"))

    def test_names_without_numbers_are_for_developers(self):
        dev = output_of("dpkg-deb", "-c", packages()["qxapkg-dev"])
        node = output_of("dpkg-deb", "-c", packages()["qxapkg-node"])
        self.assertIn("libqxagent.so ->", dev)
        self.assertNotIn("libqxagent.so ->", node)

    def test_the_loader_is_told_about_new_libraries(self):
        for package in ("node", "plugin"):
            control = self.folder / f"triggers-{package}"
            output_of("dpkg-deb", "-e", packages()[f"qxapkg-{package}"], control)
            self.assertIn("activate-noawait ldconfig", (control / "triggers").read_text())

    def test_packages_of_others_learn_what_to_depend_on(self):
        control = self.folder / "shlibs"
        output_of("dpkg-deb", "-e", packages()["qxapkg-node"], control)
        listed = {line.split()[0] for line in (control / "shlibs").read_text().splitlines()}
        self.assertEqual({file.stem for file in self.library.glob("libqx*.so")}, listed)

    def test_removing_the_node_leaves_the_operators_trees(self):
        control = self.folder / "control"
        output_of("dpkg-deb", "-e", packages()["qxapkg-node"], control)
        self.assertIn("/qx/template", (control / "postinst").read_text())
        postrm = (control / "postrm").read_text()
        self.assertNotIn("/qx/", postrm)
        self.assertNotIn("/var", postrm)

    def test_a_purge_and_nothing_less_takes_the_agents_configuration(self):
        control = self.folder / "purged"
        output_of("dpkg-deb", "-e", packages()["qxapkg-node"], control)
        configuration = self.folder / "etc/qxagent"
        configuration.mkdir(parents=True)
        (configuration / "agent.toml").write_text("# This node.\n")
        script = (control / "postrm").read_text().replace("/etc/qxagent", str(configuration))
        output_of("sh", "-c", script, "postrm", "remove")
        self.assertTrue((configuration / "agent.toml").exists())
        output_of("sh", "-c", script, "postrm", "purge")
        self.assertFalse(configuration.exists())


if __name__ == "__main__":
    unittest.main()
