"""What tests of the debugger share: scripts, and a look at what a session leaves behind."""

import os
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import harness  # noqa: E402


def shared_objects():
    """Those of links of ours that no program has any more."""
    names = {name for name in os.listdir("/dev/shm") if "KXL_DEBUG" in name} if os.path.isdir("/dev/shm") else set()
    used = b""
    for process in pathlib.Path("/proc").glob("[0-9]*/cmdline"):
        try:
            used += process.read_bytes()
        except OSError:  # it has ended
            pass
    return {name for name in names if name.rpartition("_")[2].encode() not in used}


def lives(process):
    try:
        return pathlib.Path(f"/proc/{process}/stat").read_text().rpartition(")")[2].split()[0] != "Z"
    except OSError:
        return False


class DebugTest(harness.CommandTest):
    def setUp(self):
        super().setUp()
        self.before = shared_objects()

    def tearDown(self):
        # Whoever ends a script on its own account may be a little later than its editor hears of it.
        self.until(lambda: shared_objects() <= self.before, "shared objects are left")

    def children(self, process):
        """Processes that it has started."""
        path = f"/proc/{process.pid}/task/{process.pid}/children"
        return [int(word) for word in pathlib.Path(path).read_text().split()]
