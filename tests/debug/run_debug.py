#!/usr/bin/env python3
"""Drives `kestrel debug` as its users do: sessions from --script, from a pipe, with interrupts and with crashes."""

import json
import os
import pathlib
import re
import signal
import subprocess
import time

from debug_test import DebugTest, harness

MAIN = """process: s { }
twice: x
{
    y = x * 2;
    return y;
}
main
{
    i = 1;
    info("x");
    total = twice(i);
    info(string(total));
}
"""
ENDLESS = """process: s { }
main
{
    i = 0;
    while (1)
    {
        i = i + 1;
    }
}
"""


class Debugging(DebugTest):
    def script(self, text, name="script.ks"):
        return self.write(name, text)

    def debug(self, *arguments, **options):
        out, err = self.run_kestrel("debug", *arguments, **options)
        return out.decode(), err

    def objects(self, *arguments):
        return [json.loads(line) for line in self.debug("--messages=json", *arguments)[0].splitlines()]

    def test_session_on_an_example(self):
        shown = self.objects(
            "--run", harness.EXAMPLES / "brick.ks", "--script", harness.EXAMPLES / "debug_brick.txt")
        stops = [entry for entry in shown if entry.get("kind") == "stopped"]
        self.assertEqual([stop["reason"] for stop in stops], ["entry", "breakpoint", "step"])
        self.assertEqual(stops[1]["function"], "process")
        values = {entry["name"]: entry for entry in shown if entry.get("kind") == "value"}
        self.assertEqual(values["px"], {"kind": "value", "name": "px", "type": "number", "value": 0.0})
        self.assertEqual(values["py"]["value"], 0.5)
        sample = next(entry["sample"] for entry in shown if "sample" in entry)
        plain = json.loads(self.run_kestrel("shade", harness.EXAMPLES / "brick.ks")[0])
        self.assertNotEqual(sample["color"], plain["sample"]["color"], "the changed local has an effect")
        self.assertEqual(shown[-1], {"kind": "ended", "died": False, "status": 0})

    def test_what_people_see(self):
        out, err = self.debug("--run", self.script(MAIN), "--script",
                              "b twice; c; bt; p; set x = 21; finish; n; status; messages; c")
        self.assertEqual(out, """main(), script.ks:9
9\t    i = 1;
Breakpoint 1: twice, script.ks:4
x
Breakpoint 1, twice(), script.ks:4
4\t    y = x * 2;
#0  twice(), script.ks:4
#1  main(), script.ks:11
x = 1
y = (no value yet)
x = 21
main(), script.ks:11
11\t    total = twice(i);
main(), script.ks:12
12\t    info(string(total));
main(), script.ks:12
12\t    info(string(total));
x
42
The script's program has ended with status 0.
""")
        self.assertEqual(err, "")

    def test_status(self):
        failing = self.script("process: s { }\nmain\n{\n    x = 0;\n    x = 1 / x;\n}\n", "fails.ks")
        self.debug("--run", failing, "--script", "continue", status=1)
        out, err = self.debug("--run", failing, "--script", "break error; continue; terminate")
        self.assertIn("Error, main(), fails.ks:5", out)
        for commands in ("break 4000", "set x", "step 0", "break pixel 1"):
            with self.subTest(commands):
                self.debug("--run", failing, "--script", commands, status=2)
        broken = self.script("process: s { x = ; }\n", "broken.ks")
        self.debug("--run", broken, "--script", "continue", status=1)
        self.debug("--run", self.folder / "none.ks", status=2)
        self.debug("no-such-link-anywhere", "--wait", "0.2", status=2)
        self.debug(status=2)

    def test_commands_from_a_file_and_a_pipe(self):
        commands = self.script("# what to do\nbreak 12\ncontinue\nprint total\nquit\n", "commands.txt")
        out, _ = self.debug("--run", self.script(MAIN), "--script", commands)
        self.assertIn("total = 2\n", out)
        self.assertTrue(out.endswith("2\nThe script's program has ended with status 0.\n"), out)
        piped = self.start("debug", "--run", self.script(MAIN), stdin=subprocess.PIPE)
        out, _ = piped.communicate("break 12\nc\np total\nset total = <1, 2, 3>\n", timeout=60)
        self.assertIn("total = <1, 2, 3>\n1 2 3\n", out)
        self.assertEqual(piped.returncode, 0)

    def test_attaching_by_the_name_of_the_pragma(self):
        link = f"attach test {os.getpid()}"
        path = self.script(f'#debug "{link}"\n' + MAIN)
        script = self.start("run", path)
        out, err = self.debug(link, "--script", "break 13; continue; print total; quit")
        told, hint = script.communicate(timeout=30)
        self.assertIn("total = 2\n", out)
        self.assertEqual((script.returncode, told), (0, "2\n"))
        self.assertIn("kestrel debug " + link, hint)
        # Leaving without quitting leaves it paused, for the next one.
        script = self.start("run", path, "--timeout", "20", stderr=subprocess.DEVNULL)
        first = self.start("debug", link, stdin=subprocess.PIPE)
        first.stdout.readline()
        first.stdin.write("break 12\ncontinue\n")
        first.stdin.flush()
        while ", script.ks:12" not in first.stdout.readline():
            pass
        out, err = self.debug(link, "--script", "terminate", status=2)
        self.assertEqual(out, "")
        self.assertIn("another debugger is attached", err)
        first.kill()
        first.wait()
        out, err = self.debug(link, "--script", "status; next; terminate")
        self.assertEqual(re.findall(r"main\(\), script\.ks:(\d+)", out), ["12", "12", "13"])
        self.assertEqual(script.wait(timeout=30), 1, out + err)

    def test_mistakes_leave_the_scripts_of_others_alone(self):
        link = f"mistake test {os.getpid()}"
        script = self.start("run", self.script(f'#debug "{link}"\n' + MAIN), stderr=subprocess.DEVNULL)
        out, err = self.debug(link, "--script", "break 12; continue; print nothing_of_that_name; terminate", status=2)
        self.assertEqual(script.wait(timeout=30), 0, out + err)
        self.assertEqual(script.stdout.read(), "2\n")

    def test_words_and_answers_that_help(self):
        out, err = self.debug("--run", self.script(MAIN), "--script", "break 11; cont; info locals; info frame; exit")
        self.assertIn("i = 1\n", out)
        self.assertEqual(err, "")
        for commands, problem in (("print none", "there is no variable none in main() or outside functions"),
                                  ("set a[3] = 1", "there is no a[3] in main() or outside functions"),
                                  ("break other.ks:3", "there is no file other.ks in this script"),
                                  ("break 12 if total", "conditions are not supported"),
                                  ("te", 'there is no command "te"; help lists them')):
            with self.subTest(commands):
                _, err = self.debug("--run", self.script(MAIN), "--script", "break 11; cont; " + commands, status=2)
                self.assertIn(problem + "\n", err)

    def test_a_second_script_with_the_link(self):
        link = f"second test {os.getpid()}"
        path = self.script(f'#debug "{link}"\n' + MAIN)
        first = self.start("run", path)
        self.assertIn("kestrel debug " + link, first.stderr.readline())
        for command in ("run", "shade"):
            second = self.start(command, path, "--timeout", "20")
            _, err = second.communicate(timeout=30)
            self.assertEqual(second.returncode, 0)
            self.assertIn(f'another script has the debugger link "{link}"; this one runs without', err)
            self.assertNotIn("kestrel debug " + link, err)
        self.assertEqual(self.run_kestrel("run", path, "--debug-link", link, status=2)[0], b"")
        self.debug(link, "--script", "quit")
        self.assertEqual(first.wait(timeout=30), 0)

    def test_attaching_between_lines(self):
        link = f"between test {os.getpid()}"
        text = f'#debug "{link}"\nprocess: s {{ }}\nmain\n{{\n    i = 7;\n    sleep(6500);\n    i = 8;\n    info(string(i));\n}}\n'
        script = self.start("run", self.script(text), stderr=subprocess.DEVNULL)
        self.debug(link, "--script", "quit")
        out, err = self.debug(link, "--script", "print i; list; where; set i = 9; quit")
        self.assertEqual(err, "")
        self.assertIn("Waiting for the script to come to a line", out)
        self.assertIn("Paused, main(), script.ks:7\n7\t    i = 8;\ni = 7\n", out)
        self.assertIn("->7\t    i = 8;\n", out)
        self.assertEqual(script.communicate(timeout=30)[0], "8\n")

    def interactive(self, text):
        process = self.start("debug", "--run", self.script(text), stdin=subprocess.PIPE, stderr=subprocess.STDOUT)
        process.stdout.readline()  # paused at its first line
        process.stdin.write("continue\n")
        process.stdin.flush()
        [child] = self.children(process)
        time_of = pathlib.Path(f"/proc/{child}/stat")
        self.until(lambda: int(time_of.read_text().rpartition(")")[2].split()[11]) > 10, "the endless loop has not begun")
        return process, child

    def test_interrupt_pauses(self):
        process, _ = self.interactive(ENDLESS)
        process.send_signal(signal.SIGINT)
        time.sleep(0.5)
        out, _ = process.communicate("set i = 5\nprint i\nterminate\n", timeout=30)
        self.assertRegex(out, r"Paused, main\(\), script.ks:\d\n(.*\n)*i = 5\n")
        self.assertEqual(process.returncode, 0)

    def test_script_that_dies(self):
        process, child = self.interactive(ENDLESS)
        os.kill(child, signal.SIGKILL)
        out, _ = process.communicate(timeout=30)
        self.assertIn("was ended by signal 9", out)
        self.assertEqual(process.returncode, 1)


if __name__ == "__main__":
    harness.main(__doc__)
