"""Nodes that earlier versions left behind: this version opens, lists, updates, checks and undoes them."""

import json
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from kr_world import ENGINES
from node_image import IMAGES, Node, mount, state_of, tree_of, unpack, why_not

REASON = why_not()


class OlderNode:
    """Every test has the image to itself. `name` is that of the image, which subclasses set."""

    name = ""

    def setUp(self):
        folder = pathlib.Path(tempfile.mkdtemp(prefix="qxa-test-"))
        self.addCleanup(shutil.rmtree, folder)
        image, mounted = folder / "node.img", folder / "mounted"
        mounted.mkdir()
        unpack(IMAGES / f"{self.name}.img.zst", image)
        mount(image, mounted)
        self.addCleanup(subprocess.run, ["umount", mounted], check=True)
        self.node = Node(mounted)
        self.expected = json.loads((IMAGES / f"{self.name}.json").read_text())

    def check(self, container, status=0, findings=()):
        """A check must end with this status and find this."""
        self.assertEqual([status, [*findings]], self.node.findings(f"/qx/private/{container}"))

    def assert_content(self, container, files):
        """A container sees files with these contents."""
        seen = {path: self.node.cat(f"/qx/private/{container}", path) for path in files}
        self.assertEqual(files, seen)

    def without_times(self):
        """Everything below /qx but for the times, and for the lock, which names its last holder."""
        tree = tree_of(self.node.path("/qx"))
        return {path: state[:3] + state[4:] for path, state in tree.items() if path != "template/.lock"}

    def test_an_operator_sees_what_was_there(self):
        self.maxDiff = None
        self.assertEqual(self.expected["seen"], self.node.seen())

    def test_a_template_is_described(self):
        [package] = self.node.records("info", "base/1")["results"][0]["packages"]
        self.assertEqual("summary of base", package["summary"])
        self.assertEqual("first line\nsecond line", package["description"])

    def test_containers_see_the_files_that_they_saw(self):
        for container, files in self.expected["files"].items():
            with self.subTest(container):
                self.assert_content(container, files)

    def test_a_container_is_updated_and_keeps_its_own_files(self):
        update = self.expected["update"]
        root = self.node.path(f"/qx/private/{update['container']}/root")
        own = [path for path in ("etc/own", "home/user/letter", "home/user/copy") if (root / path).exists()]
        before = {path: (state_of(root / path), (root / path).stat().st_ino) for path in own}

        self.node.qxa("update", "--ct", update["container"], "base")

        self.assertEqual(update["templates"], self.node.names("--ct", update["container"]))
        self.assert_content(update["container"], update["files"])
        for path in update["gone"]:
            self.assertNotEqual(0, self.node.qxfsutil("cat", root, path).returncode)
        self.assertEqual(before, {path: (state_of(root / path), (root / path).stat().st_ino) for path in own})
        self.check(update["container"])

    def test_an_application_goes_from_a_container_and_comes_again(self):
        self.node.qxa("remove", "--ct", 101, "web/1")
        self.assertEqual(["base/1"], self.node.names("--ct", 101))
        self.node.qxa("install", "--ct", 101, "web/1")
        self.assert_content(101, {"usr/share/web/index": "index\n"})

    def test_an_area_of_an_older_layout_is_updated_and_stays_clean(self):
        self.node.qxa("update", "--ct", 102, "base")
        self.assert_content(102, {"bin/sh": "shell 2\n", "srv/issue": "issue\n"})
        self.check(102)

    def test_a_change_of_a_container_that_was_cut_short_is_undone_or_finished(self):
        for container, state in ((103, "base/1"), (104, "base/2")):
            with self.subTest(container):
                self.node.qxa("install", "--ct", container, "web/1")
                self.assertEqual([state, "web/1"], self.node.names("--ct", container))
                self.assert_content(container, {"bin/sh": f"shell {state[-1]}\n", "usr/share/web/index": "index\n"})
                self.assertFalse(self.node.path(f"/qx/private/{container}/.qxtemplates/journal").exists())
                self.check(container)

    def test_an_update_goes_on_where_it_was_cut_short(self):
        self.node.qxa("update", "--ct", 103, "base")
        self.assertEqual(["base/2"], self.node.names("--ct", 103))
        self.assert_content(103, {"bin/sh": "shell 2\n", "usr/lib/modules/7": "seven\n"})
        self.check(103)

    def test_a_change_of_the_nodes_templates_that_was_cut_short_is_finished(self):
        journal = self.node.path("/qx/template/.qxtem/journal")
        self.assertIn("state pending", journal.read_text())
        self.node.qxa("remove", "early/1")
        self.assertIn("late/1", self.node.names())
        self.assertNotIn("early/1", self.node.names())
        self.assertEqual("late\n", self.node.path("/qx/template/late/1/root/opt/late").read_text())
        self.assertIn("state done", journal.read_text())

    def test_a_new_container_is_made_of_an_old_template(self):
        self.node.qxa("ct", "create", 110, "--os", "base/2")
        self.node.qxa("install", "--ct", 110, "-f", "base/2", "web/1")
        self.assert_content(110, {"bin/sh": "shell 2\n", "usr/share/web/index": "index\n"})
        self.check(110)

    def test_a_repair_is_undone_to_the_byte(self):
        undo = self.expected["undo"]
        root = self.node.path(undo["area"]) / "root"
        self.assertNotEqual(undo["before"], tree_of(root))

        done = self.node.qxfsutil("undo", undo["record"])

        self.assertEqual(0, done.returncode, done.stdout + done.stderr)
        self.maxDiff = None
        self.assertEqual(undo["before"], json.loads(json.dumps(tree_of(root))))

    def test_what_a_newer_version_wrote_is_refused_as_that_and_left_alone(self):
        for path, words in {
            "/qx/template/.qxtem/journal": ["remove", "early/1"],
            "/qx/private/103/.qxtemplates/journal": ["update", "--ct", 103, "base"],
            "/qx/private/101/.qxtemplates/base@1": ["update", "--ct", 101, "base"],
        }.items():
            with self.subTest(path):
                file = self.node.path(path)
                text = file.read_text()
                file.write_text(text.replace(" 1\n", " 2\n", 1))
                before = self.without_times()
                refused = self.node.run("qxa", *words)
                self.assertEqual(1, refused.returncode, refused.stderr)
                self.assertIn(" 2' is of a newer version of this program", refused.stderr)
                self.assertEqual(before, self.without_times())
                file.write_text(text)
                self.node.qxa(*words)

    @unittest.skipIf(ENGINES is not None, ENGINES)
    def test_packages_of_containers_are_updated_by_the_engines(self):
        for container, packaging in ((201, "all"), (202, "noarch")):
            with self.subTest(container):
                self.node.qxa("update", "--ct", container)
                versions = [
                    (each["name"], each["version"])
                    for each in self.node.records("list", "--ct", container, "--type", "rpm")["results"][0]["packages"]
                ]
                self.assertIn("1.1", dict(versions)["one"])

    @unittest.skipIf(ENGINES is not None, ENGINES)
    def test_a_change_of_packages_that_was_cut_short_is_no_hindrance(self):
        intent = self.node.path("/var/lib/qxagent/qxpkg/203/intent")
        self.assertTrue(intent.exists())
        self.node.qxa("install", "--ct", 203, "two")
        self.assertEqual(["base", "one", "two"], self.node.names("--ct", 203, "--type", "rpm"))
        self.assertFalse(intent.exists())

    @unittest.skipIf(ENGINES is not None, ENGINES)
    def test_a_container_is_made_of_a_cache(self):
        self.node.qxa("ct", "create", 210, "--os", ".tinydeb")
        self.assertEqual(["base"], self.node.names("--ct", 210, "--type", "rpm"))


def load_tests(loader, _standard, _pattern):
    """All of it for each image."""
    if REASON is not None:
        print(f"skipped: {REASON}", flush=True)
    suite = unittest.TestSuite()
    for image in sorted(IMAGES.glob("*.img.zst")):
        name = image.name.removesuffix(".img.zst")
        case = type(f"NodeOf_{name}", (OlderNode, unittest.TestCase), {"name": name})
        case = unittest.skipIf(REASON is not None, f"no image can be mounted: {REASON}")(case)
        suite.addTests(loader.loadTestsFromTestCase(case))
    return suite


if __name__ == "__main__":
    unittest.main()
