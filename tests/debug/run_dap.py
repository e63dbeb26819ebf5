#!/usr/bin/env python3
"""Debugs scripts as an editor does: through `kestrel debug --dap`, with a client that knows nothing but the protocol."""

import os
import pathlib
import signal
import subprocess
import time

from dap_client import PATIENCE, Client, Failed
from debug_test import DebugTest, harness, lives

MAIN = '''total = 0;
greeting = "grüße 日本";
declare record Stone { name = "flint", weight = 1.5; }
process: sa { }
twice: x
{
    y = x * 2;
    return y;
}
deeper: n
{
    if n > 0 then
        deeper(n - 1);
    n = n + 0;
    return n;
}
main
{
    var many[3];
    many[2] = "two";
    stone = Stone();
    place = <1, 2, 3>;
    for i = 1 to 5 do
    {
        total = twice(i);
        info(string(total));
    }
    warn(greeting);
    deeper(2);
    info("end");
}
'''
LINE = {text.strip(): number for number, text in enumerate(MAIN.splitlines(), 1)}


class AdapterTest(DebugTest):
    def client(self, split=0):
        return Client(self.start("debug", "--dap", stdin=subprocess.PIPE, text=False), split)

    def script(self, text=MAIN, name="script.ks"):
        return self.write(name, text)

    def running(self, text, name="attached.ks"):
        """A script that somebody else started: its process and its link."""
        link = f"dap-{os.getpid()}-{name}"
        path = self.write(name, f'#debug "{link}"\n{text}')
        return self.start("run", path, stderr=subprocess.DEVNULL), link, path

    def refused(self, client, request, text, **arguments):
        with self.assertRaisesRegex(Failed, text):
            client.ask(request, **arguments)


class Sessions(AdapterTest):
    def test_break_look_change_step_continue(self):
        path, client = self.script(), self.client()
        line = LINE["y = x * 2;"]
        answers = client.begin("launch", {path: [{"line": line}, {"line": line + 100}],
                                          self.folder / "other.ks": [{"line": 1}]},
                               program=str(path))
        good, beyond = answers[path]
        self.assertEqual((good["verified"], good["line"], good["source"]["path"]), (True, line, str(path)))
        self.assertEqual((beyond["verified"], beyond["message"][:11]), (False, "No code at "))
        self.assertFalse(answers[self.folder / "other.ks"][0]["verified"])
        stop = client.event("stopped")
        self.assertEqual((stop["reason"], stop["hitBreakpointIds"], stop["allThreadsStopped"]),
                         ("breakpoint", [good["id"]], True))
        self.assertEqual([(f["name"], f["line"]) for f in client.frames()],
                         [("twice", line), ("main", LINE["total = twice(i);"])])
        answer = client.ask("stackTrace", threadId=1, startFrame=1, levels=1)
        self.assertEqual((answer["totalFrames"], answer["stackFrames"][0]["name"]), (2, "main"))

        values = client.variables(client.scope("Locals"))
        self.assertEqual((values["x"]["value"], values["x"]["type"]), ("1", "integer"))
        outer = client.variables(client.scope("Locals", frame=2))
        self.assertEqual(outer["place"]["value"], "<1, 2, 3>")
        self.assertEqual(outer["many"]["indexedVariables"], 3)
        parts = client.variables(outer["many"]["variablesReference"], filter="indexed", start=1, count=1)
        self.assertEqual({name: part["value"] for name, part in parts.items()}, {"[2]": '"two"'})
        fields = client.variables(outer["stone"]["variablesReference"])
        self.assertEqual(fields["weight"]["value"], "1.5")
        self.assertEqual(client.value(fields["name"]["evaluateName"], context="watch"), '"flint"')
        everything = client.variables(client.scope("Globals"))
        self.assertEqual(everything["greeting"]["value"], '"grüße 日本"')

        scope = client.scope("Locals")
        self.assertEqual(client.ask("setVariable", variablesReference=scope, name="x", value="20")["value"], "20")
        client.ask("setVariable", variablesReference=outer["stone"]["variablesReference"], name="name", value='"Kiesel ☃"')
        self.assertEqual(client.value("stone->name", frameId=2), '"Kiesel ☃"')
        client.ask("setExpression", expression="many[3]", value="<1.5, 0, 2>", frameId=2)
        self.assertEqual(client.value("many[3]", frameId=2, context="hover"), "<1.5, 0, 2>")
        self.refused(client, "setVariable", "a value is written", variablesReference=scope, name="x", value="1 +")
        self.refused(client, "evaluate", "Unknown variable reference: ::nothing", expression="nothing")

        client.ask("setBreakpoints", source={"path": str(path)}, breakpoints=[])
        self.assertEqual(client.go("next"), ("twice", LINE["return y;"]))
        self.assertEqual(client.value("y"), "40")
        function, at = client.go("stepOut")
        while at != LINE["info(string(total));"]:
            self.assertEqual(function, "main")
            function, at = client.go("next")
        client.ask("stepIn", threadId=1)
        self.assertEqual(client.output("40")["category"], "stdout")
        client.stopped("step")
        self.refused(client, "variables", "gone on", variablesReference=99)
        client.ask("continue", threadId=1)
        warned = client.output("warning: grüße 日本")
        self.assertEqual((warned["category"], warned["line"], warned["source"]["path"]),
                         ("stderr", LINE["warn(greeting);"], str(path)))
        client.output("end")
        self.assertEqual(client.event("exited")["exitCode"], 0)
        client.event("terminated")
        self.refused(client, "stackTrace", "has ended", threadId=1)
        self.assertEqual(client.finish(), 0)

    def test_conditions_functions_errors_and_entry(self):
        path, client = self.script(), self.client()
        line = LINE["y = x * 2;"]
        lines = [{"line": line, "condition": "x == 3"}, {"line": line, "hitCondition": "% 4"},
                 {"line": line, "condition": "x + 1"}]
        answers = client.begin("launch", {path: lines}, [{"name": "deeper"}, {"name": "nowhere"}], program=str(path),
                               stopOnEntry=True)
        self.assertEqual([b["verified"] for b in answers[path]], [True, True, False])
        self.assertEqual([b["verified"] for b in answers["functions"]], [True, False])
        client.stopped("entry")
        client.ask("continue", threadId=1)
        self.assertEqual(client.event("stopped")["hitBreakpointIds"], [answers[path][0]["id"]])
        self.assertEqual(client.value("x"), "3")
        # A step over a call passes the breakpoint in it that does not count.
        client.ask("setBreakpoints", source={"path": str(path)},
                   breakpoints=[{"line": line, "condition": "x > 100"}, {"line": line + 1, "hitCondition": "100"}])
        client.go("stepOut")
        for _ in range(2):
            while client.frames()[0]["line"] != LINE["total = twice(i);"]:
                self.assertEqual(client.go("next")[0], "main")
            self.assertEqual(client.go("next")[0], "main")
        client.ask("setBreakpoints", source={"path": str(path)}, breakpoints=[])
        self.assertEqual(client.go("continue", "function breakpoint"), ("deeper", LINE["if n > 0 then"]))
        for expected in ("1", "0"):
            client.go("continue", "function breakpoint")
            self.assertEqual(client.value("n"), expected)
        # The variables of an outer call of the same function are out of reach, and not made up.
        self.assertEqual([s["name"] for s in client.ask("scopes", frameId=2)["scopes"]], ["Globals"])
        self.assertEqual([f["name"] for f in client.frames()], ["deeper"] * 3 + ["main"])
        self.assertEqual(client.finish(), 0)

        path, client = self.script("process: sa { }\nmain\n{\n    a = 1;\n    error(\"bad {thing}\");\n}\n"), self.client()
        client.ask("initialize")
        client.ask("launch", program=path.name, cwd=str(self.folder), noDebug=False)
        client.event("initialized")
        client.ask("setExceptionBreakpoints", filters=["error"])
        client.ask("configurationDone")
        self.assertEqual(client.event("stopped")["reason"], "exception")
        self.assertIn("bad {thing}", client.ask("exceptionInfo", threadId=1)["description"])
        self.assertEqual(client.ask("loadedSources")["sources"][0]["path"], str(path))
        self.assertIn("bad {thing}", client.ask("source", sourceReference=0, source={"path": str(path)})["content"])
        self.refused(client, "source", "no such source", sourceReference=0, source={"path": "/etc/hostname"})
        client.ask("terminate")
        client.event("exited")
        self.assertEqual(client.finish(), 0)

    def test_a_script_in_pieces_with_its_commands(self):
        """Frames cut inside headers and characters; the environment; commands that are typed; the output of programs."""
        (self.folder / "part.ks").write_text("inPart: a\n{\n    b = a;\n    return b;\n}\n")
        text = ('#insert "part.ks"\nprocess: sa { }\nmain\n{\n    help = getenv("ÜMLAUT");\n    help = inPart(help);\n'
                '    system("echo from a program: é");\n    sleep(60000);\n}\n')
        path, client = self.script(text, "größe.ks"), self.client(split=1)
        part = str(self.folder / "part.ks")
        answers = client.begin("launch", {part: [{"line": 3}]}, program=path.name, cwd=str(self.folder),
                               env={"ÜMLAUT": "ä€😀"}, args=["--timeout", "50"])
        self.assertTrue(answers[part][0]["verified"], answers)
        self.assertEqual(client.stopped("breakpoint"), ("inPart", 3))
        self.assertEqual(client.frames()[0]["source"]["path"], part)
        self.assertEqual(client.value("a"), '"ä€😀"')
        repl = {"context": "repl"}
        self.assertIn("next [N]", client.value("help", **repl))
        self.assertIn("main, " + str(path) + ":6", client.value("where", **repl))
        self.assertEqual(client.value("set a = 2.5", **repl), "2.5")
        client.event("invalidated")
        self.assertEqual(client.value("print a", **repl), "2.5")
        self.assertEqual(client.value("print main::help", **repl), '"ä€😀"')
        client.value("next 2", **repl)
        client.event("continued")
        client.event("stopped")
        client.value("continue", **repl)
        self.assertEqual(client.output("from a program: é")["category"], "stdout")
        # In its sleep it answers nothing, but the server does.
        time.sleep(0.2)
        pending = client.send("setBreakpoints", {"source": {"path": str(path)}, "breakpoints": [{"line": 8}]})
        self.refused(client, "stackTrace", "notStopped", threadId=1)
        client.ask("pause", threadId=1)
        self.assertEqual(client.ask("threads")["threads"], [{"id": 1, "name": "script"}])
        self.assertFalse(client.answer(pending)["breakpoints"][0]["verified"])
        started = time.monotonic()
        self.assertEqual(client.finish(), 0)
        self.assertLess(time.monotonic() - started, 10)

    def test_pauses_and_breakpoints_where_they_meet(self):
        # A pause that comes while the script sleeps, before a line whose breakpoint does not count.
        text = "process: sa { }\nmain {\n  n = 0;\n  while(1) {\n    sleep(20);\n    n = n + 1;\n  }\n}\n"
        for _ in range(3):
            path, client = self.script(text), self.client()
            client.begin("launch", {path: [{"line": 6, "condition": "n < 0"}]}, program=str(path))
            time.sleep(0.1)
            client.go("pause", "pause")
            client.ask("disconnect")
        # The first line is one like others.
        path, client = self.script(text), self.client()
        (first, ), = client.begin("launch", {path: [{"line": 3, "condition": "1 == 1"}]}, program=str(path)).values()
        self.assertEqual(client.event("stopped")["hitBreakpointIds"], [first["id"]])
        client.ask("disconnect")
        path, client = self.script(MAIN), self.client()
        client.begin("launch", {path: [{"line": LINE["y = x * 2;"], "hitCondition": "2"}],
                                }, program=str(path), stopOnEntry=None, env={"NOTHING": None})
        client.event("stopped")
        self.assertEqual(client.variables(client.scope("Locals"))["x"]["value"], "2")
        client.ask("disconnect", terminateDebuggee=None)

    def test_a_script_without_debugging_ends_when_told(self):
        path, client = self.script("process: sa { }\nmain { while(1) sleep(20); }\n"), self.client()
        client.begin("launch", {}, program=str(path), noDebug=True)
        time.sleep(0.3)
        client.ask("terminate")
        client.event("terminated")  # tearDown looks for what it left

    def test_attach_leaves_the_script_to_itself(self):
        text = ("process: sa { }\nmain\n{\n    n = 0;\n    while n < 100 do\n    {\n        n = n + 1;\n        sleep(20);\n"
                '    }\n    info("all ", n);\n}\n')
        process, link, path = self.running(text)
        client = self.client()
        client.begin("attach", {path: [{"line": 9}]}, link=link)
        self.assertEqual(client.stopped("breakpoint"), ("main", 9))
        client.ask("setBreakpoints", source={"path": str(path)}, breakpoints=[])
        client.ask("continue", threadId=1)
        client.go("pause", "pause")
        other = self.client()
        other.ask("initialize", adapterID="kestrel")
        self.refused(other, "attach", "another debugger is attached", link=link, wait=0.1)
        other.finish()
        client.ask("setVariable", variablesReference=client.scope("Locals"), name="n", value="97")
        self.assertEqual(client.finish(), 0)
        self.assertEqual(process.communicate(timeout=PATIENCE)[0], "all 100\n")

        # An editor that vanishes, while the script is paused and while it runs.
        for pauses in (True, False):
            process, link, path = self.running(text.replace("< 100", "< 10"), f"vanish{pauses}.ks")
            client = self.client()
            client.begin("attach", {path: [{"line": 8}]} if pauses else {}, link=link)
            if pauses:
                client.stopped("breakpoint")
            self.assertEqual(client.end(), 0)
            self.assertEqual(process.communicate(timeout=PATIENCE)[0], "all 10\n")

        # One that vanishes while the script cannot be told.
        process, link, path = self.running('process: sa { }\nmain\n{\n    sleep(2500);\n    info("free");\n}\n', "sleeps.ks")
        client = self.client()
        self.assertTrue(client.begin("attach", {path: [{"line": 6}]}, link=link)[path][0]["verified"])
        time.sleep(0.3)
        self.assertEqual(client.end(), 0)
        self.assertIsNone(process.poll())
        self.assertEqual(process.communicate(timeout=PATIENCE)[0], "free\n")

        # A program that dies.
        process, link, path = self.running(text, "dies.ks")
        client = self.client()
        client.begin("attach", link=link, stopOnEntry=True)
        client.stopped("entry")
        process.kill()
        client.output("has died")
        client.event("terminated")
        self.assertEqual(client.finish(), 0)
        client = self.client()
        client.ask("initialize")
        self.refused(client, "attach", "there is no script with the debugger link", link="none-of-this-name", wait=0.1)
        self.assertEqual(client.finish(), 0)

    def test_a_launched_script_may_live_on(self):
        """Let go by the editor, or never debugged: it runs to its end past all breakpoints."""
        for leaves in (True, False):
            path, client = self.script(MAIN.replace('info("end");', 'system("echo end > " + getenv("OUT"));')), self.client()
            client.begin("launch", {path: [{"line": LINE["y = x * 2;"]}]}, program=str(path), noDebug=not leaves,
                         env={"OUT": str(self.folder / "out")})
            if leaves:
                client.stopped("breakpoint")
                client.ask("disconnect", terminateDebuggee=False)
            else:
                self.assertEqual(client.event("exited")["exitCode"], 0)
                client.ask("disconnect")
            self.assertEqual(client.end(), 0)
            self.assertEqual((self.folder / "out").read_text(), "end\n")
            (self.folder / "out").unlink()

    def test_a_pixels_sample(self):
        shader = harness.EXAMPLES / "checker.ks"
        line = 1 + shader.read_text().splitlines().index("    k = floor(sa.oPos[3] * squares + 0.5);")
        client = self.client()
        client.begin("launch", {shader: [{"line": line, "hitCondition": "2"}]}, program=str(shader), **{"as": "render"},
                     args=["--size", "8x8", "-o", str(self.folder / "picture.png")], stopAtPixel={"x": 4, "y": 3, "sample": 1})
        reasons = [client.event("stopped")["description"]]
        self.assertEqual(client.frames()[0]["name"], "process")
        client.ask("continue", threadId=1)
        reasons.append(client.event("stopped")["description"])
        self.assertCountEqual(reasons, ["Paused at a breakpoint", "Paused in sample 1 of pixel 4, 3"])
        values = client.variables(client.scope("Locals"))
        self.assertIn(values["i"]["type"], ("integer", "number", ""))
        self.assertIn("Pauses in sample 1 of pixel 5, 6", client.value("break pixel 5 6", context="repl"))
        client.ask("setBreakpoints", source={"path": str(shader)}, breakpoints=[])
        client.ask("continue", threadId=1)
        self.assertEqual(client.event("stopped")["description"], "Paused in sample 1 of pixel 5, 6")
        client.ask("setVariable", variablesReference=client.scope("Globals"), name="light", value="<1, 1, 1>")
        client.ask("continue", threadId=1)
        self.assertEqual(client.event("exited")["exitCode"], 0)
        self.assertTrue((self.folder / "picture.png").exists())
        self.assertEqual(client.finish(), 0)

        client = self.client()
        client.begin("launch", {shader: [{"line": line}]}, program=str(shader), **{"as": "shade"})
        self.assertEqual(client.stopped("breakpoint"), ("process", line))
        client.ask("terminate")
        client.event("terminated")
        self.assertEqual(client.finish(), 0)


class Robustness(AdapterTest):
    ENDLESS = "process: sa { }\nmain\n{\n    n = 0;\n    while 1 do\n        n = n + 1;\n}\n"

    def paused(self):
        """A client whose script stands still in its loop, and the process of that."""
        client = self.client()
        client.begin("launch", program=str(self.script(self.ENDLESS)))
        client.go("pause", "pause")
        return client, *self.children(client.process)

    def test_bad_messages(self):
        client = self.client()
        self.refused(client, "threads", "initialize comes first")
        client.write(b"Content-Length: 3\r\n\r\n{]}")
        client.output("no JSON")
        client.write(b"content-length:  2 \r\nOther: x\r\n\r\n[]")
        client.output("no JSON object")
        client.write(b"Content-Length: 7\r\n\r\n[1e999]")
        client.output("no JSON")
        deep = b"[" * 100000
        client.write(b"Content-Length: %d\r\n\r\n" % len(deep) + deep)
        client.output("refused")
        many = b"[" + b"0," * 3000000 + b"0]"
        client.write(b"Content-Length: %d\r\n\r\n" % len(many) + many)
        client.output("refused")
        client.write(b"Content-Length: %d\r\n\r\n" % (20 << 20) + b"x" * (20 << 20))
        client.output("too long")
        client.write(b'Content-Length: 18\r\n\r\n{"type":"request"}')
        client.write('Content-Length: 25\r\n\r\n{"type":"response","x":1}'.encode())
        with self.assertRaisesRegex(Failed, "seq and a command"):
            client.answer(0)
        self.refused(client, "flyToTheMoon", "there is no request")
        client.ask("initialize")
        self.refused(client, "initialize", "once")
        self.refused(client, "setBreakpoints", "unusable arguments", source=7)
        self.refused(client, "setBreakpoints", "unusable arguments", source={"path": "/x.ks"}, breakpoints=[{"line": "one"}])
        self.refused(client, "stackTrace", "there is no script yet", threadId=1)
        self.refused(client, "launch", "cannot be read", program=str(self.folder / "missing.ks"))
        self.refused(client, "launch", "as: must be", program=str(self.script()), **{"as": "fly"})
        path = self.script("main { this is no script\n")
        self.refused(client, "launch", "ended with status 1", program=str(path))
        self.assertIn("error", "".join(e["body"]["output"] for e in client.events if e["event"] == "output"))
        self.assertEqual(client.finish(), 0)

    def test_what_is_no_frame_ends_the_server_and_its_script(self):
        for junk in (b"Content-Length: x\r\n\r\n{}", b"GET / HTTP/1.1\r\n\r\n", b"Content-Length: 99999999999\r\n\r\n",
                     b"{" * 9000):
            client = self.client()
            client.begin("launch", program=str(self.script(self.ENDLESS)))
            client.write(junk)
            client.event("output", lambda body: body["category"] == "important")
            self.assertEqual(client.process.wait(PATIENCE), 2)
            client.end()

    def test_an_editor_that_vanishes_takes_its_script_along(self):
        for how in ("closes", "asks to end", "is interrupted"):
            client, child = self.paused()
            if how == "closes":
                client.process.stdin.close()
            else:
                client.process.send_signal(signal.SIGTERM if how == "asks to end" else signal.SIGINT)
            self.assertEqual(client.process.wait(PATIENCE), 0)
            self.assertRaises(ProcessLookupError, os.kill, child, 0)
            client.end()

    def test_a_server_that_is_killed_takes_its_script_along(self):
        client, child = self.paused()
        client.process.kill()
        client.end()
        self.until(lambda: not lives(child), "the script runs on")

    def test_a_script_that_says_more_than_is_read(self):
        """An editor that takes nothing holds nobody up for ever, and gets what comes at last."""
        client = self.client()
        path = self.script('process: sa { }\nmain\n{\n    system("seq 1 300000");\n}\n')
        client.begin("launch", program=str(path))
        client.reads.clear()
        time.sleep(0.5)
        client.reads.set()
        text = ""
        while "300000" not in text:
            text += client.event("output")["output"]
        self.assertEqual(text.split()[:300000], [str(n) for n in range(1, 300001)])
        client.event("exited")
        self.assertEqual(client.finish(), 0)

    def test_a_script_that_crashes(self):
        client, child = self.paused()
        os.kill(child, signal.SIGKILL)
        client.output("signal 9")
        self.assertEqual(client.event("exited")["exitCode"], 128 + 9)
        client.event("terminated")
        self.refused(client, "variables", "has ended", variablesReference=1)
        self.assertEqual(client.finish(), 0)

    def test_requests_wait_without_keeping_others(self):
        """A program that stands still answers nothing: what asks it waits and can be cancelled."""
        client, child = self.paused()
        os.kill(child, signal.SIGSTOP)
        try:
            waits = client.send("stackTrace", {"threadId": 1})
            started = time.monotonic()
            client.ask("threads")
            client.ask("cancel", requestId=waits)
            with self.assertRaisesRegex(Failed, "cancelled"):
                client.answer(waits)
            self.assertLess(time.monotonic() - started, 4)
        finally:
            os.kill(child, signal.SIGCONT)
        self.assertEqual(client.frames()[0]["name"], "main")
        self.assertEqual(client.finish(), 0)


if __name__ == "__main__":
    harness.main(__doc__)
