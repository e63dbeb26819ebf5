"""Installs the build into a directory and looks at it as its users do: the command, another project, the shell, man."""

import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

TIME_LIMIT = 300  # seconds; only a hang reaches it


class Installed(unittest.TestCase):
    args = None

    @classmethod
    def setUpClass(cls):
        directory = tempfile.TemporaryDirectory()
        cls.addClassCleanup(directory.cleanup)
        cls.folder = pathlib.Path(directory.name).resolve()
        cls.prefix = cls.folder / "usr"
        cls.environment = {k: v for k, v in os.environ.items() if not k.startswith("KESTREL_")}
        cls.environment |= {"HOME": str(cls.folder), "XDG_DATA_HOME": str(cls.folder / "data"), "LC_ALL": "C"}
        cls.run_program(cls.args.cmake, "--install", cls.args.build, "--prefix", cls.prefix)
        cls.kestrel = cls.prefix / "bin/kestrel"
        cls.documents = cls.prefix / "share/doc/kestrel"

    @classmethod
    def run_program(cls, *words, status=0, **options):
        done = subprocess.run([str(word) for word in words], env=cls.environment, capture_output=True, text=True,
                              timeout=TIME_LIMIT, cwd=cls.folder, stdin=subprocess.DEVNULL, **options)
        if done.returncode != status:
            raise AssertionError(f"{words} ended with {done.returncode}:\n{done.stdout}{done.stderr}")
        return done.stdout

    def test_the_command_finds_the_module_wherever_the_tree_has_gone(self):
        script = self.documents / "examples/checker.ks"
        self.assertIn('"describe":"Kestrel/PT - CHECKER.KS"', self.run_program(self.kestrel, "shade", script))
        moved = self.folder / "elsewhere"
        shutil.copytree(self.prefix, moved)
        self.run_program(moved / "bin/kestrel", "shade", script)
        for module in moved.rglob("kestrel-pt.so"):
            module.unlink()
        self.run_program(moved / "bin/kestrel", "shade", script, status=2)

    def test_another_project_finds_headers_module_and_command(self):
        source, build = pathlib.Path(__file__).parent / "consumer", self.folder / "consumer"
        c, cxx = self.args.compilers
        self.run_program(self.args.cmake, "-S", source, "-B", build, f"-DCMAKE_PREFIX_PATH={self.prefix}",
                         f"-DEXAMPLES={self.documents}/examples", f"-DCMAKE_C_COMPILER={c}",
                         f"-DCMAKE_CXX_COMPILER={cxx}", "-DCMAKE_BUILD_TYPE=Release")
        self.run_program(self.args.cmake, "--build", build)
        self.run_program("ctest", "--test-dir", build, "--output-on-failure")

    def test_links_between_documents_lead_somewhere(self):
        pages = sorted((self.documents / "docs").glob("*.md"))
        self.assertIn("reference.md", [page.name for page in pages])
        for page in pages:
            for link in re.findall(r"\]\(((?:gallery|\.\./examples)/[^)#]*|[a-z_]+\.(?:md|svg|json))", page.read_text()):
                self.assertTrue((page.parent / link).exists(), f"{page.name}: {link}")

    def test_the_debian_package_holds_the_tree_and_says_what_it_needs(self):
        if not shutil.which("dpkg-shlibdeps"):
            self.skipTest("the tools for Debian packages are not installed")
        cpack = pathlib.Path(self.args.cmake).parent / "cpack"
        self.run_program(cpack, "--config", self.args.build / "CPackConfig.cmake", "-B", self.folder / "package")
        package, = (self.folder / "package").glob("kestrel_*.deb")
        contents = self.run_program("dpkg-deb", "-c", package)
        for file in ("bin/kestrel", "lib/kestrel/kestrel-pt.so", "share/man/man1/kestrel.1", "include/kestrel/sdk/",
                     "include/kestrel/script.h", "lib/libkestrel-script.so.1",
                     "share/doc/kestrel/README.md"):
            self.assertIn(f" ./usr/{file}", contents)
        needed = self.run_program("dpkg-deb", "-f", package, "Depends")
        self.assertIn("libsqlite3-0", needed)
        self.assertIn("libembree", needed)

    def options(self, command):
        text = self.run_program(self.kestrel, command, "--help")
        return set(re.findall(r"(?:^  |,)(--?[a-zA-Z][a-z-]*)", text, re.MULTILINE))

    def commands(self):
        text = self.run_program(self.kestrel, "--help")
        return re.findall(r"^  ([a-z]+) ", text[text.index("Subcommands:"):], re.MULTILINE)

    def complete(self, *words):
        script = self.prefix / "share/bash-completion/completions/kestrel"
        quoted = " ".join(f"'{word}'" for word in words)
        return self.run_program("bash", "-c", f"source {script}; COMP_WORDS=({quoted}); COMP_CWORD={len(words) - 1}; "
                                "_kestrel; printf '%s\\n' \"${COMPREPLY[@]}\"").split()

    def test_bash_completes_commands_options_and_values(self):
        commands = self.commands()
        self.assertIn("render", commands)
        self.assertEqual(set(self.complete("kestrel", "")), {*commands, "--help", "--version"})
        for command in commands:
            with self.subTest(command):
                self.assertLessEqual(self.options(command), set(self.complete("kestrel", command, "-")))
        self.assertEqual(self.complete("kestrel", "render", "--view", "fi"), ["filmic"])
        self.assertEqual(self.complete("kestrel", "check", "--messages", "=", "j"), ["json"])
        self.assertEqual(self.complete("kestrel", "check", "--timeout", ""), [])
        (self.folder / "dots.ks").write_text("")
        self.assertEqual(self.complete("kestrel", "run", "do"), ["dots.ks"])
        self.assertEqual(self.complete("kestrel", "help", "ren"), ["render"])

    def test_other_shells_and_the_manual_know_every_option(self):
        share = self.prefix / "share"
        texts = {"zsh": (share / "zsh/vendor-completions/_kestrel").read_text(),
                 "fish": (share / "fish/vendor_completions.d/kestrel.fish").read_text(),
                 "man": (share / "man/man1/kestrel.1").read_text().replace("\\-", "-")}
        form = {"zsh": lambda o: f"'*{o}", "fish": lambda o: f" -l {o[2:]}" if o.startswith("--") else f" -s {o[1:]}",
                "man": lambda o: f"\\fB{o}\\fR"}
        for command in self.commands():
            for option in self.options(command):
                for where, text in texts.items():
                    self.assertIn(form[where](option), text, f"{where}, {command}")
        for shell, name in (("zsh", "_kestrel"), ("fish", "kestrel.fish")):
            if shutil.which(shell):
                self.run_program(shell, "-n", next(share.rglob(name)))
        if shutil.which("groff"):
            done = subprocess.run(["groff", "-man", "-ww", "-Tutf8", "-z", share / "man/man1/kestrel.1"],
                                  capture_output=True, text=True, timeout=TIME_LIMIT)
            self.assertEqual((done.returncode, done.stderr), (0, ""))


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--cmake", required=True)
    parser.add_argument("--build", required=True, type=lambda path: pathlib.Path(path).resolve())
    parser.add_argument("--compilers", nargs=2, default=["cc", "c++"])
    parser.add_argument("--only", nargs="*", default=[])
    Installed.args = parser.parse_args()
    unittest.main(argv=[sys.argv[0], *Installed.args.only])
