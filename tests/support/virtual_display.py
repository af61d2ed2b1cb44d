"""An X server of a test's own."""

import os
import subprocess

# A number of our own: a server that ends can take the socket with it that a newer one made of its number.
# No reset: a server that starts anew when its last client leaves refuses whoever connects at that moment.
COMMAND = ["Xvfb", f":{100 + os.getpid()}", "-screen", "0", "1280x800x24", "-nolisten", "tcp", "-noreset",
           "-displayfd"]


def start():
    """The server, which ends with this process at the latest, and the name of its display."""
    reading, writing = os.pipe()
    server = subprocess.Popen(["setpriv", "--pdeathsig", "TERM", *COMMAND, str(writing)],
                              pass_fds=[writing], stderr=subprocess.DEVNULL)
    os.close(writing)
    with os.fdopen(reading) as stream:
        return server, ":" + stream.readline().strip()
