"""The end of a desktop's session, as its manager sees it: whether the installer agrees is the window's answer.

Usage: session_end.py QUIT_REQUESTS_PROGRAM
"""

import ctypes
import os
import pathlib
import select
import subprocess
import sys
import tempfile
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[3] / "support"))
import virtual_display

WAIT_SECONDS = 60
PROGRAM = sys.argv[1]

LOCAL, BOTH = 1, 2  # what is to be saved
STYLE_NONE, STYLE_ANY = 0, 2  # of a talk with the user
ALL_CALLBACKS = (1 << 10) - 1

ice = ctypes.CDLL("libICE.so.6")
sm = ctypes.CDLL("libSM.so.6")
ice.IceAcceptConnection.restype = sm.SmsGenerateClientID.restype = ctypes.c_void_p
ice.IceComposeNetworkIdList.restype = ctypes.c_char_p

Pointer, Number = ctypes.c_void_p, ctypes.c_int
Client = ctypes.CFUNCTYPE(Number, Pointer, Pointer, ctypes.POINTER(ctypes.c_ulong), ctypes.POINTER(Pointer), Pointer)
Closed = ctypes.CFUNCTYPE(None, Pointer)
Admission = ctypes.CFUNCTYPE(Number, ctypes.c_char_p)
# The callbacks of a client, in the order in which the library keeps them.
Register = ctypes.CFUNCTYPE(Number, Pointer, Pointer, Pointer)
Tell = ctypes.CFUNCTYPE(None, Pointer, Pointer, Number)
TellMore = ctypes.CFUNCTYPE(None, Pointer, Pointer, Number, Pointer)
Request = ctypes.CFUNCTYPE(None, Pointer, Pointer, Number, Number, Number, Number, Number)


class SessionManager:
    """Of one client, which it asks to save its work for the end of the session once it has joined."""

    def __init__(self):
        self.heard = []
        ignore = TellMore(lambda *arguments: None)
        self.callbacks = [
            Register(self.register), Tell(self.interact), Tell(self.interact_done), Request(lambda *arguments: None),
            ignore, Tell(self.saved), ignore, ignore, ignore, ignore]
        self.new_client, self.admission = Client(self.welcome), Admission(lambda host: 1)
        self.hung_up = Closed(lambda connection: None)  # otherwise the library ends this process
        ice.IceSetIOErrorHandler(self.hung_up)
        error = ctypes.create_string_buffer(256)
        if not sm.SmsInitialize(b"test", b"1", self.new_client, None, self.admission, len(error), error):
            raise AssertionError(error.value)
        count, self.listeners = Number(), ctypes.POINTER(Pointer)()
        if not ice.IceListenForConnections(ctypes.byref(count), ctypes.byref(self.listeners), len(error), error):
            raise AssertionError(error.value)
        self.address = ice.IceComposeNetworkIdList(count, self.listeners).decode()
        self.places = {ice.IceGetListenConnectionNumber(Pointer(self.listeners[index])): Pointer(self.listeners[index])
                       for index in range(count.value)}
        for place in self.places.values():
            ice.IceSetHostBasedAuthProc(place, self.admission)
        self.connections = {}

    def welcome(self, client, data, mask, callbacks, reason):
        mask[0] = ALL_CALLBACKS
        for index, callback in enumerate(self.callbacks):
            callbacks[2 * index] = ctypes.cast(callback, Pointer)
        return 1

    def register(self, client, data, previous):
        sm.SmsRegisterClientReply(Pointer(client), Pointer(sm.SmsGenerateClientID(Pointer(client))))
        sm.SmsSaveYourself(Pointer(client), LOCAL, 0, STYLE_NONE, 0)  # which each newcomer is asked
        return 1

    def interact(self, client, data, kind):
        self.heard.append("wants to talk to the user")
        sm.SmsInteract(Pointer(client))

    def interact_done(self, client, data, is_cancel):
        self.heard.append("cancels the end" if is_cancel else "has talked")
        if is_cancel:
            sm.SmsShutdownCancelled(Pointer(client))

    def saved(self, client, data, is_success):
        self.heard.append("has saved" if is_success else "has not saved")
        if len(self.heard) == 1:
            sm.SmsSaveYourself(Pointer(client), BOTH, 1, STYLE_ANY, 0)

    def serve_until(self, condition):
        while not condition():
            ready = select.select([*self.places, *self.connections], [], [], WAIT_SECONDS)[0]
            if not ready:
                raise AssertionError(f"waited in vain; heard {self.heard}")
            for descriptor in ready:
                if descriptor in self.places:
                    connection = Pointer(ice.IceAcceptConnection(self.places[descriptor], ctypes.byref(Number())))
                    self.connections[ice.IceConnectionNumber(connection)] = connection
                elif ice.IceProcessMessages(self.connections[descriptor], None, None):
                    del self.connections[descriptor]  # it has hung up


def start(*command, **options):
    """A child that does not outlive this process."""
    return subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *command], **options)


class SessionEndTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.manager = SessionManager()  # a process has one

    def setUp(self):
        self.manager.heard.clear()
        display, self.display = virtual_display.start()
        self.addCleanup(display.wait)
        self.addCleanup(display.terminate)

    def start(self, answers):
        environment = {**os.environ, "DISPLAY": self.display, "QT_QPA_PLATFORM": "xcb",
                       "SESSION_MANAGER": self.manager.address}
        program = start(PROGRAM, "session", answers, stdout=subprocess.PIPE, text=True, env=environment)
        self.addCleanup(program.stdout.close)
        self.addCleanup(program.wait)
        self.addCleanup(program.kill)
        return program

    def test_the_end_goes_on_when_the_window_may_close(self):
        program = self.start("y")
        self.manager.serve_until(lambda: len(self.manager.heard) == 2)
        self.assertEqual(self.manager.heard, ["has saved", "has saved"])
        self.assertEqual(program.wait(WAIT_SECONDS), 0)
        self.assertEqual(program.stdout.read(), "running\nyes\n")

    def test_the_end_is_called_off_when_the_window_may_not_close(self):
        program = self.start("n")
        self.manager.serve_until(lambda: len(self.manager.heard) == 4)
        self.assertEqual(
            self.manager.heard, ["has saved", "wants to talk to the user", "cancels the end", "has not saved"])
        self.assertIsNone(program.poll())
        program.kill()
        self.assertEqual(program.stdout.read(), "running\nno\n")


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as home:
        os.environ["HOME"] = home  # where the keys of sessions are
        unittest.main(argv=sys.argv[:1])
