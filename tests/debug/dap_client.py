"""A small client of the Debug Adapter Protocol: writes and reads its frames byte by byte as the protocol describes them."""

import json
import queue
import threading
import time

PATIENCE = 20  # seconds; only a hang reaches it


class Failed(Exception):
    """A request was answered with success = false."""


class Client:
    """Talks to a server. What it receives is checked against the framing: nothing may lie between frames."""

    def __init__(self, process, split=0):
        self.process = process
        self.split = split  # sends pieces of this many bytes
        self.seq = self.their_seq = 0
        self.events, self.answers = [], {}
        self.incoming = queue.Queue()
        self.reads = threading.Event()  # cleared: takes nothing from the server
        self.reads.set()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        stream = self.process.stdout
        try:
            while self.reads.wait() and (line := stream.readline()):
                name, _, length = line.partition(b": ")
                if name != b"Content-Length" or not length.endswith(b"\r\n") or stream.readline() != b"\r\n":
                    raise ValueError(f"no header: {line!r}")
                body = stream.read(int(length))
                if len(body) != int(length):
                    raise ValueError("a message is cut off")
                self.incoming.put(json.loads(body.decode("utf-8")))
        except ValueError as error:
            self.incoming.put(error)
        self.incoming.put(None)

    def _take(self, until):
        """Takes in one message; False at the end of the stream."""
        message = self.incoming.get(timeout=max(until - time.monotonic(), 0.001))
        if isinstance(message, Exception):
            raise message
        if message is None:
            self.incoming.put(None)
            return False
        assert message["seq"] == self.their_seq + 1, message
        self.their_seq = message["seq"]
        if message["type"] == "event":
            self.events.append(message)
        else:
            self.answers[message["request_seq"]] = message
        return True

    def write(self, data):
        for at in range(0, len(data), self.split or len(data)):
            self.process.stdin.write(data[at:at + (self.split or len(data))])
            self.process.stdin.flush()

    def send(self, command, arguments=None):
        self.seq += 1
        message = {"seq": self.seq, "type": "request", "command": command, "arguments": arguments or {}}
        body = json.dumps(message, ensure_ascii=False).encode("utf-8")
        self.write(b"Content-Length: %d\r\n\r\n" % len(body) + body)
        return self.seq

    def answer(self, seq):
        until = time.monotonic() + PATIENCE
        while seq not in self.answers:
            if not self._take(until):
                raise EOFError("the server has ended")
        answer = self.answers.pop(seq)
        if not answer["success"]:
            raise Failed(answer["message"])
        return answer["body"]

    def ask(self, command, **arguments):
        return self.answer(self.send(command, arguments))

    def event(self, name, matches=lambda body: True):
        """The next event of that name. Those before it that do not match are dropped; other events stay."""
        until = time.monotonic() + PATIENCE
        while True:
            for event in [e for e in self.events if e["event"] == name]:
                self.events.remove(event)
                if matches(event["body"]):
                    return event["body"]
            if not self._take(until):
                raise EOFError(f"the server has ended without {name}")

    def output(self, text):
        return self.event("output", lambda body: text in body["output"])

    def begin(self, how, breakpoints=None, functions=None, **arguments):
        """From initialize to configurationDone. Returns what setBreakpoints answered, by path."""
        self.ask("initialize", adapterID="kestrel", supportsInvalidatedEvent=True)
        self.ask(how, **arguments)
        self.event("initialized")
        answers = {path: self.ask("setBreakpoints", source={"path": str(path)}, breakpoints=wanted)["breakpoints"]
                   for path, wanted in (breakpoints or {}).items()}
        if functions:
            answers["functions"] = self.ask("setFunctionBreakpoints", breakpoints=functions)["breakpoints"]
        self.ask("configurationDone")
        return answers

    def frames(self, **arguments):
        return self.ask("stackTrace", threadId=1, **arguments)["stackFrames"]

    def stopped(self, reason):
        """Waits for a pause. Returns the function and the line."""
        body = self.event("stopped")
        assert body["reason"] == reason, body
        top = self.frames(levels=1)[0]
        return top["name"], top["line"]

    def go(self, how, reason="step"):
        """Goes on in this way up to a pause. Returns the function and the line."""
        self.ask(how, threadId=1)
        return self.stopped(reason)

    def scope(self, name, frame=1):
        scopes = {scope["name"]: scope for scope in self.ask("scopes", frameId=frame)["scopes"]}
        return scopes[name]["variablesReference"]

    def variables(self, reference, **paging):
        listed = self.ask("variables", variablesReference=reference, **paging)["variables"]
        return {variable["name"]: variable for variable in listed}

    def value(self, expression, **arguments):
        return self.ask("evaluate", expression=expression, **arguments)["result"]

    def finish(self):
        """disconnect; waits for the server. Returns its status."""
        self.ask("disconnect")
        return self.end()

    def end(self):
        """Closes the stream. Returns the server's status."""
        if not self.process.stdin.closed:
            self.process.stdin.close()
        status = self.process.wait(PATIENCE)
        self.process.stderr.close()
        return status
