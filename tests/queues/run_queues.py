#!/usr/bin/env python3
"""Scripts in several programs exchange values through a queue."""

import os
import pathlib
import signal
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import harness  # noqa: E402

SHARED = pathlib.Path("/dev/shm")  # where the system shows its shared memory


class Queues(harness.CommandTest):
    def setUp(self):
        super().setUp()
        self.tag = f"T{os.getpid()}{self._testMethodName[-4:]}"  # names that nobody else has

    def start(self, name, text, *options):
        return super().start("run", self.write(name, "process: sa { }\n" + text.replace("@", self.tag)), *options)

    def ends(self, process):
        out, err = process.communicate(timeout=harness.TIME_LIMIT)
        return process.returncode, out, err

    def left(self):
        return [path.name for path in SHARED.iterdir() if self.tag in path.name]

    def test_exposed_variables_do_what_variables_do(self):
        cases = [
            ("@a = 5; @a++; info(@a, @a++, @a, --@a);", "6676"),
            ("@a = 7; @a += 0.5; info(@a); @a = 2.0; @a *= 3; info(@a);", "7\n6"),  # an Integer stays one
            ("@a = 1; @a += <1,2,3>; info(@a);", "2"),
            ('@a = "abc"; @a += 1; info(@a, @a.size(), @a[2]); @a[2] = "X"; info(@a, @Q$@a);', "abc14b\naXc1aXc1"),
            ("@a = <1,2,3>; @a.y = 9; @a.z += 1; info(@a, @Q$@a);", "<1,9,4><1,9,4>"),
            ("@a = 3; -@a; info(@a); !@a; info(@Q$@a);", "-3\n0"),
            ("(@a, @v[2]) = two(); info(@a, @v[2]);", "12"),
            ("x = @a = 4; info(x, @a, ::@a);", "444"),
            ("for @a = 1 to 3 do x = @a; info(x, @a);", "34"),
            ("(@v[1], @v[2]) = two(); @v[1] = 7; info(@v[1], @v[2], @v[3]); @v[] = 5; @v[3]++; @v[1] += 2; info(@v);", "72(nil)\n7 5 6"),
            ("@v[] = 1; info(@v.size(), size(@v), sum(@v));", "333"),
            ("@Q$@v[] = 2; @Q$@v[2] += 5; @Q$@v[3]++; info(@v[1], @Q$@v[2], @v[3]);", "273"),
            ("@a = 2147483647; @a += 1; info(@a);", "-2147483648"),
            ('None$@a = 1; None$@a += 1; None$@a++; x = None$@v[2]; info(None$@a, x);', "(nil)(nil)"),
        ]
        source = "expose @a, @v[3] as @Q;\ntwo { return(1, 2); }\nsum: l { return(l[1] + l[2] + l[3]); }\n"
        for index, (code, _) in enumerate(cases):
            source += f"case{index} {{ @a = nil; @v[] = nil; {code} }}\n"
        source += "main { " + " ".join(f"case{index}();" for index in range(len(cases))) + " }\n"
        status, out, err = self.ends(self.start("cases.ks", source))
        self.assertEqual((status, err), (0, ""))
        self.assertEqual(out, "".join(expected + "\n" for _, expected in cases))

    def test_wrong_uses_are_told(self):
        cases = {
            "x = @v[4];": "index 4 invalid for array @v[3]",
            "@v[4] = 1;": "index 4 invalid for array ::@v[3]",
            "x = @v[1, 2];": "invalid dimension count (2) for multi-dimensional array @v[] (1)",
            '@v["x"] = 1;': "invalid index value provided for array @v[]",
            "@v[2]++;": "illegal operation on array element @v[2]",
            "@a++;": "illegal operation on variable @a",
            "@a = array(2);": "illegal data type: cannot assign data type to IPC queue slot @a",
            "@a[2] = 1;": "illegal data type: cannot assign data type to IPC queue slot @a",
            "@Q$@a = self;": "illegal data type: cannot assign data type to IPC queue slot @a",
            "@v = 5;": "illegal assignment type",
            "info(@v()[1]);": "stack empty",
        }
        for code, message in cases.items():
            script = self.start("wrong.ks", f"expose @a, @v[3] as @Q;\nself = File(\"w.txt\", \"w\");\nmain {{ {code} }}\n")
            status, _, err = self.ends(script)
            self.assertIn(message.replace("@", self.tag), err, code)
            self.assertEqual(status, 1, code)
        for code in ("expose PI as @Q;", "expose @a + 1 as @Q;"):
            _, _, err = self.ends(self.start("wrong.ks", code + "\nmain { }\n"))
            self.assertIn("illegal declaration in 'expose'", err)
        strict = self.start("strict.ks", "#pragma strict\nvar @a;\nexpose @a as @Q;\nmain { @a = 5; info(@a); }\n")
        self.assertEqual(self.ends(strict), (0, "5\n", ""))
        self.assertEqual(self.left(), [])

    def test_checking_makes_nothing_and_waiting_can_be_ended(self):
        path = self.write("checked.ks", f"expose a as {self.tag}Q;\nprocess: sa {{ a = 1; }}\n")
        self.assertEqual(self.run_kestrel("check", path), (b"", ""))
        self.assertEqual(self.left(), [])
        holder = self.start("holder.ks", "expose @a as @Q;\nmain { sleep(60000); }\n")
        self.until(lambda: any("_SEM" in name for name in self.left()), "no semaphore")
        other = self.start("other.ks", "expose @b as @Q;\nmain { }\n")
        status, _, err = self.ends(other)
        self.assertEqual(status, 1)
        self.assertIn(f"cannot create IPC queue '{self.tag}Q'", err)
        ended = self.start("ended.ks", "main { while(1) x = @Q$@a; }\n", "--timeout", "0.3")
        status, _, err = self.ends(ended)
        self.assertEqual(status, 1)
        self.assertIn("run ended", err)
        holder.send_signal(signal.SIGINT)
        self.assertEqual(self.ends(holder)[0], 1)
        self.assertEqual(self.left(), [])

    def test_the_example_follows_its_dial(self):
        follows = super().start("run", harness.EXAMPLES / "tools/follow_dial.ks")
        turns = super().start("run", harness.EXAMPLES / "tools/dial.ks")
        self.assertEqual(self.ends(turns), (0, "", ""))
        status, out, err = self.ends(follows)
        self.assertEqual((status, err), (0, ""))
        words = [line.split()[0] for line in out.splitlines()]
        self.assertEqual(words, ["low", "high", "low", "end"])


if __name__ == "__main__":
    harness.main(__doc__)
