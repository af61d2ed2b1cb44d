"""The installer as it ships trusts the machine's certificate store, whatever its environment says."""

import os
import pathlib
import socket
import threading

from shipped_case import ShippedCase, events, main, trust, wait_until
import screen

SETTINGS = pathlib.Path("/srv/openssl.cnf")


def variables_for(authority):
    """Whatever programs are known to take an authority from."""
    SETTINGS.write_text(
        "openssl_conf = start\n[start]\nssl_conf = tls\n[tls]\nsystem_default = every\n"
        f"[every]\nVerifyCAFile = {authority}\nVerifyMode = Request\n")
    variables = dict.fromkeys(("SSL_CERT_FILE", "CURL_CA_BUNDLE", "REQUESTS_CA_BUNDLE", "NIX_SSL_CERT_FILE"),
                              str(authority))
    return {**variables, "SSL_CERT_DIR": str(authority.parent), "OPENSSL_CONF": str(SETTINGS),
            "CURL_SSL_VERIFY": "0", "GIT_SSL_NO_VERIFY": "1", "PYTHONHTTPSVERIFY": "0"}


class Proxy:
    """Leads whoever asks for a tunnel, wherever to, to a port of this machine."""

    def __init__(self, port):
        self.port = port
        self.asked = []
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.address = f"http://127.0.0.1:{self.listener.getsockname()[1]}"
        threading.Thread(target=self.serve, daemon=True).start()

    def serve(self):
        while True:
            client = self.listener.accept()[0]
            request = client.makefile("rb")
            self.asked.append(request.readline().decode().strip())
            while request.readline().strip():
                pass
            server = socket.create_connection(("127.0.0.1", self.port))
            client.sendall(b"HTTP/1.1 200 Connected\r\n\r\n")
            for source, target in ((client, server), (server, client)):
                threading.Thread(target=pump, args=(source, target), daemon=True).start()


def pump(source, target):
    try:
        while piece := source.recv(65536):
            target.sendall(piece)
        target.shutdown(socket.SHUT_WR)
    except OSError:
        pass  # one of them has hung up


class TrustingTest(ShippedCase):
    def refuses(self, language, locale, **variables):
        """Starts it, and looks at what it says and leaves."""
        seen = {name: os.environ[name] for name in ("DBUS_SESSION_BUS_ADDRESS", "QT_LINUX_ACCESSIBILITY_ALWAYS_ON")}
        installer = self.start(LC_ALL=locale, **seen, **variables)
        screen.Screen(installer.pid).wait_for(screen.text(language, "network_error"))
        self.assertEqual(events()[-1], "installer_failed")
        self.assertEqual(os.listdir("/Applications"), [])
        installer.terminate()
        self.wait_for_end(installer)

    def test_no_variable_makes_it_trust_another_authority(self):
        other = self.serve("other", 0)
        server = self.serve()
        trust(other)
        self.refuses("en-US", "en_US.UTF-8", **variables_for(server.place / "authority.pem"))
        self.assertEqual(server.stop(), [])

    def test_a_proxy_leads_it_nowhere_else(self):
        trust(self.serve())
        impostor = self.serve("impostor", 0)
        proxy = Proxy(impostor.port)
        names = ("https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY")
        self.refuses("de-DE", "de_DE.UTF-8", **dict.fromkeys(names, proxy.address),
                     **variables_for(impostor.place / "authority.pem"))
        self.assertEqual(set(proxy.asked), {"CONNECT dist.mykavio.test:443 HTTP/1.1"})
        self.assertEqual(impostor.stop(), [])


if __name__ == "__main__":
    main()
