#!/usr/bin/python3
"""The command-line client at a terminal. Every wait is for a text or a document."""
import contextlib
import os
import queue
import signal
import socket
import stat
import tempfile
import termios
import threading
import unittest

import pexpect

import peer

PROMPT = "orvane> "
ARROW_UP = "\x1b[A"
CTRL_C = "\x03"
CTRL_D = "\x04"
SILENT = (b"loginClient", b"updateRecorderContents", b"getPertinentInfo")
LISTS = {
    b"getRecorderList": b'<getRecorderListResponse><recorder name="North gate"><track name="a"/></recorder>'
                         b'<recorder name="North yard"/><recorder name="South"/></getRecorderListResponse>',
    b"getPresetsList": b'<getPresetsListResponse><preset name="Night &amp; day"/></getPresetsListResponse>',
}
PATIENCE = 60  # seconds, for a busy machine


class Terminal(unittest.TestCase):
    def setUp(self):
        self.home = tempfile.TemporaryDirectory()
        self.addCleanup(self.home.cleanup)
        self.listener = peer.listen()
        self.addCleanup(self.listener.close)
        self.lists = dict(LISTS)
        self.documents = queue.Queue()
        self.accepts_account = True
        self.is_busy = False  # does not answer the end of a query
        self.client = None
        self.addCleanup(self.stop)
        threading.Thread(target=self.serve, daemon=True).start()

    def serve(self):
        """Accepts every command except refreshes and queries, one client after the other."""
        while self.listener.fileno() >= 0:
            with contextlib.suppress(OSError), peer.accept(self.listener) as self.connection:
                for message in peer.messages(self.connection, self.accepts_account):
                    self.answer(message)

    def answer(self, message):
        name = message[1:message.index(b">")].rstrip(b"/")
        if name.startswith(b"end-of-query-"):
            if not self.is_busy:
                self.connection.sendall(peer.rejection(name))
            return
        if name != b"loginClient":
            self.documents.put(message.decode())
        if name in self.lists:
            self.send(self.lists[name])
        elif name not in SILENT:
            self.send(b"<commandAccepted><commandname>" + name + b"</commandname></commandAccepted>")

    def send(self, message):
        self.connection.sendall(message + peer.END)

    def start(self, *arguments, until=PROMPT, command='exec "$0" "$@"'):
        environment = {"HOME": self.home.name, "TERM": "xterm", "LC_ALL": "C.UTF-8",
                       **{name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}}
        port = str(self.listener.getsockname()[1])
        self.stop()
        self.client = pexpect.spawn(
            "/bin/sh", ["-c", command, os.environ["CLIENT"],
                        "--insecure", "--port", port, "--timeout", str(PATIENCE), *arguments],
            env=environment, timeout=PATIENCE, dimensions=(24, 80), encoding="utf-8", cwd=self.home.name)
        self.client.delaybeforesend = None
        self.client.ptyproc.delayafterclose = 0
        if until:
            self.shows(until)

    def stop(self):
        """Not only with close(), which raises an error if the client does not end within a fixed time."""
        if self.client:
            if self.client.isalive():
                self.client.kill(signal.SIGKILL)
                self.client.wait()
            self.client.close()

    def type(self, keys):
        self.client.send(keys)

    def shows(self, text):
        self.client.expect_exact(text)

    def host_gets(self, document):
        self.assertEqual(self.documents.get(timeout=PATIENCE), document)

    def ends(self, status=0):
        self.client.expect(pexpect.EOF)
        self.client.wait()
        self.assertEqual(self.client.exitstatus, status)

    def is_usual(self):
        """Whether the terminal itself edits lines, shows keys and turns some into signals."""
        usual = termios.ICANON | termios.ECHO | termios.ISIG
        return termios.tcgetattr(self.client.child_fd)[3] & usual == usual

    def test_tab_completes(self):
        for keys, document in [
            ("setPr\tpre\tA\r", "<setPreset><presetname>A</presetname></setPreset>"),
            ("showL\tA\tsp\t3\r", "<showLiveAtSubsplit><splitid>3</splitid></showLiveAtSubsplit>"),
            ("showT\ttrack=a track\t1\r", "<showTrack><track>a</track><trackid>1</trackid></showTrack>"),
            ("setD\tsu\t0,ob\t7\r", '<setDetailViews><subsplits><subsplit id="0" objectid="7"/></subsplits>'
                                    "</setDetailViews>"),
            ("nope s\t\r", None),
        ]:
            with self.subTest(keys):
                self.start()
                self.type(keys)
                if document:
                    self.host_gets(document)
                else:
                    self.shows('invalid parameter "s"')

    def test_double_tab_lists_matches(self):
        for keys, fitting in [
            ("showLive", ["showLive ", "showLiveAtSubsplit"]),
            ("help showLive", ["showLive ", "showLiveAtSubsplit"]),
            ("setDetailViews ", ["splitid=", "subsplit:id="]),
            ("setDetailViews subsplit:id=0,rb", ["subsplit:id=0,rbx=", "subsplit:id=0,rby="]),
        ]:
            with self.subTest(keys):
                self.start()
                self.type(keys + "\t\t")
                self.shows("\n" + fitting[0])
                self.shows(fitting[1])
                self.shows(PROMPT + keys)

    def test_arrow_up_recalls_lines(self):
        kept = "<setPreset><presetname>A</presetname></setPreset>"
        self.start()
        self.type("setPreset presetname=A\r")
        self.host_gets(kept)
        self.shows(PROMPT)
        self.type("loginClient username=operator password=secret\r")  # the one line that is not kept
        self.shows(PROMPT)
        self.type(ARROW_UP + "\r")
        self.host_gets(kept)
        self.shows(PROMPT)
        self.type(CTRL_D)
        self.ends()
        history = os.stat(os.path.join(self.home.name, ".local/share/orvane-client/history"))
        self.assertEqual(stat.S_IMODE(history.st_mode) & 0o077, 0)
        self.start()
        self.type(ARROW_UP + "\r")
        self.host_gets(kept)

    def test_notice_keeps_typed_text(self):
        for preset, up_to_prompt in [("A-end", ""), ("A" * 100 + "-end", "\x1b[1A")]:
            with self.subTest(preset):
                self.start()
                self.type("updateRecorderContents\r")
                self.host_gets("<updateRecorderContents></updateRecorderContents>")
                self.shows("updateRecorderContentsFinished is shown when the refresh has finished")
                self.shows(PROMPT)
                self.type("setPreset presetname=" + preset)
                self.shows("-end")
                self.send(b"<updateRecorderContentsFinished/>")
                self.shows(up_to_prompt + "\r\x1b[J<updateRecorderContentsFinished")  # where the prompt was
                self.shows("\n" + PROMPT + "setPreset presetname=A")
                self.shows("-end")
                self.type("\r")
                self.host_gets(f"<setPreset><presetname>{preset}</presetname></setPreset>")

    def test_restores_terminal(self):
        for keys in ["quit\r", CTRL_D]:
            with self.subTest(keys):
                self.start()
                self.assertFalse(self.is_usual())
                self.type(keys)
                self.ends()
                self.assertTrue(self.is_usual())
                self.assertTrue(self.documents.empty())

    def test_tab_completes_names_of_host(self):
        self.start()
        for keys, document in [
            ("showLive rec\tN\tg\t\r", "<showLive><recorder>North gate</recorder></showLive>"),
            ("setPreset pres\tN\t\r", "<setPreset><presetname>Night &amp; day</presetname></setPreset>"),
        ]:
            self.type(keys)
            self.assertIn("List", self.documents.get(timeout=PATIENCE))
            self.host_gets(document)
            self.shows(PROMPT)
        self.assertTrue(self.documents.empty())

    def test_ctrl_c_cancels_line_or_wait(self):
        self.start()
        self.type("setPreset presetname=A" + CTRL_C)
        self.shows("^C\r\n" + PROMPT)
        self.is_busy = True
        self.type("getPertinentInfo\r")
        self.host_gets("<getPertinentInfo></getPertinentInfo>")
        self.type(CTRL_C)
        self.shows("interrupted")
        self.shows(PROMPT)
        self.enter("B")  # on a new connection
        self.host_gets("<setPreset><presetname>B</presetname></setPreset>")
        self.type("A" + CTRL_C + CTRL_D)  # in one write, as over a slow line
        self.ends()

    def test_refused_account_gets_no_prompt(self):
        self.accepts_account = False
        self.start(until=None)
        self.ends(7)
        self.assertNotIn(PROMPT, self.client.before)

    def test_every_character_and_long_lines_reach_the_host(self):
        self.start()
        for preset in ["Früh schicht \U0001f6a6", "x" * 4100, "ü" * 1000]:
            for start in range(0, len(preset), 100):
                self.type(('setPreset presetname="' if start == 0 else "") + preset[start:start + 100])
            self.type('"\r')
            self.host_gets(f"<setPreset><presetname>{preset}</presetname></setPreset>")
            self.shows("</commandAccepted>")
            self.shows(PROMPT)

    def test_lines_may_be_typed_ahead(self):
        self.start()
        self.type("getPresetsList\rsetPreset presetname=A\r" + CTRL_D)
        self.host_gets("<getPresetsList></getPresetsList>")
        self.host_gets("<setPreset><presetname>A</presetname></setPreset>")
        self.ends()

    def test_output_is_not_a_terminal(self):
        for command in ['"$0" "$@" | tee log', '"$0" "$@" > log; cat log']:
            with self.subTest(command):
                self.start(until=None, command=command)
                self.type("getPresetsList\r")
                self.host_gets("<getPresetsList></getPresetsList>")
                self.type(CTRL_D)
                self.shows("<getPresetsListResponse>")
                self.ends()

    def enter(self, preset):
        self.type(f"setPreset presetname={preset}\r")
        self.shows("</commandAccepted>")
        self.shows(PROMPT)

    def test_prompts_share_their_history(self):
        self.start()
        self.enter("first")
        self.connection.shutdown(socket.SHUT_RDWR)  # the host serves one client at a time
        self.shows("closed the connection")
        other = self.client
        self.client = None
        self.start()
        self.enter("A")
        self.type(CTRL_D)
        self.ends()
        self.client = other
        self.enter("B")
        self.start()
        for keys, preset in [(ARROW_UP, "B"), (2 * ARROW_UP, "A")]:
            self.documents.queue.clear()
            self.type(keys + "\r")
            self.host_gets(f"<setPreset><presetname>{preset}</presetname></setPreset>")
            self.shows(PROMPT)

    def test_watch_shows_changes_across_restarts(self):
        self.start("watch", "getPresetsList", "--interval", "0.1", until='Night &amp; day"/>')
        self.lists[b"getPresetsList"] = b'<getPresetsListResponse><preset name="Dawn"/></getPresetsListResponse>'
        self.shows('"Dawn"')
        self.connection.shutdown(socket.SHUT_RDWR)
        self.shows("closed the connection")
        self.shows("connected to")
        self.lists[b"getPresetsList"] = b'<getPresetsListResponse><preset name="Dusk"/></getPresetsListResponse>'
        self.shows('"Dusk"')
        self.assertNotIn('"Dawn"', self.client.before)  # it is shown once
        self.assertRegex(self.client.before, r"\n\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ ")
        self.lists[b"getPresetsList"] = b"<updateRecorderContentsFinished/>" + peer.END + self.lists[b"getPresetsList"]
        self.shows("<updateRecorderContentsFinished/>")
        self.type(CTRL_C)
        self.ends()

    def test_retry_waits_for_the_host(self):
        self.listener = socket.socket()
        self.listener.bind(("127.0.0.1", 0))  # refuses connections until it listens
        self.start("--retry", until="trying again")
        self.type(CTRL_C)
        self.shows("orvane-client: interrupted\r\n")
        self.ends(4)
        self.start("--retry", "getPresetsList", until="trying again")
        self.listener.listen()
        threading.Thread(target=self.serve, daemon=True).start()
        self.shows("<getPresetsListResponse>")
        self.ends()

    def test_next_command_connects_anew(self):
        self.start()
        self.type("setPreset\r")
        self.host_gets("<setPreset></setPreset>")
        self.shows(PROMPT)
        self.connection.shutdown(socket.SHUT_RDWR)
        self.shows("closed the connection")
        self.type("setPreset presetname=A\r")
        self.host_gets("<setPreset><presetname>A</presetname></setPreset>")
        self.shows("</commandAccepted>")
        self.shows(PROMPT)
        self.listener.close()
        self.connection.shutdown(socket.SHUT_RDWR)
        self.shows("closed the connection")
        self.type("setPreset presetname=A\r")
        self.shows("cannot connect")
        self.shows(PROMPT)
        self.type(CTRL_D)
        self.ends()

    def test_password_is_not_shown(self):
        self.start("--user", "operator", until="Password for operator: ")
        self.type("secret\r")
        self.shows(PROMPT)
        self.assertNotIn("secret", self.client.before)


if __name__ == "__main__":
    unittest.main()
