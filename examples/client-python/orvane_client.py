#!/usr/bin/env python3
"""Send one command to a video wall that speaks the Orvane protocol, and print the reply.

The password comes from the environment, never from the command line:

    export ORVANE_PASSWORD
    read -rs ORVANE_PASSWORD
    orvane_client.py --user operator --ca hxcert.pem '<getPresetsList/>'
    orvane_client.py --user operator --pin 5f:0c:...:e2 '<showLive><camera>3</camera></showLive>'

--ca trusts the certificates in a PEM file and checks the host's name; a self-signed certificate is its own authority.
--pin trusts only the certificate with this SHA-256 fingerprint, whatever its name; to see the fingerprint:
    openssl x509 -in hxcert.pem -noout -fingerprint -sha256

Exit status: 0 reply received, 1 command rejected, 2 wrong usage, 3 no connection, 4 no reply in time.
"""
import argparse
import hashlib
import os
import socket
import ssl
import sys
import time
from xml.sax.saxutils import escape

END = b"\r\n\r\n"


def connect(options):
    if options.ca:
        context = ssl.create_default_context(cafile=options.ca)
    else:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
        context.check_hostname = False
        context.verify_mode = ssl.CERT_NONE  # the fingerprint is checked below, before anything is sent
    connection = context.wrap_socket(socket.create_connection((options.host, options.port), options.timeout),
                                     server_hostname=options.host)
    if options.pin:
        fingerprint = hashlib.sha256(connection.getpeercert(binary_form=True)).hexdigest()
        if fingerprint != options.pin.rpartition("=")[2].replace(":", "").lower():  # as openssl prints it
            raise ConnectionError(f"the host's certificate has the fingerprint {fingerprint}, not {options.pin}")
    return connection


def send(connection, document):
    connection.sendall(document.encode() + END)  # the whole message in one write


def receive(connection, timeout):
    deadline = time.monotonic() + timeout  # also for a host that sends a few bytes again and again
    received = bytearray()
    searched = 0
    while (end := received.find(END, searched)) < 0:
        searched = max(0, len(received) - len(END) + 1)
        connection.settimeout(max(deadline - time.monotonic(), 0.001))
        part = connection.recv(65536)
        if not part:
            raise ConnectionError("the host closed the connection")
        if time.monotonic() > deadline:
            raise TimeoutError("it did not end in time")
        received += part
    return received[:end].decode(errors="replace")


def shown(reply):
    """On a terminal, make unprintable characters visible; elsewhere leave the reply as it is."""
    if not sys.stdout.isatty():
        return reply
    return "".join(c if c.isprintable() or c in "\n\t" else ascii(c)[1:-1] for c in reply)


def main():
    description, _, details = __doc__.partition("\n\n")
    parser = argparse.ArgumentParser(description=description, epilog=details,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("command", help="the XML document of the command")
    parser.add_argument("--host", default="localhost", help="default: %(default)s")
    parser.add_argument("--port", type=int, default=5679, help="default: %(default)s")
    parser.add_argument("--user", required=True)
    parser.add_argument("--timeout", type=float, default=5, metavar="SECONDS", help="default: %(default)s")
    trust = parser.add_mutually_exclusive_group(required=True)
    trust.add_argument("--ca", metavar="FILE", help="certificates to trust, PEM")
    trust.add_argument("--pin", metavar="FINGERPRINT", help="SHA-256 fingerprint of the host's certificate")
    options = parser.parse_args()
    if "ORVANE_PASSWORD" not in os.environ:
        parser.error("set ORVANE_PASSWORD")

    try:
        connection = connect(options)
    except OSError as error:
        print(f"No connection to {options.host}, port {options.port}: {error}", file=sys.stderr)
        return 3
    with connection:
        try:
            send(connection, "<loginClient><username>" + escape(options.user) + "</username><password>"
                 + escape(os.environ["ORVANE_PASSWORD"]) + "</password></loginClient>")  # never answered
            send(connection, options.command)
            reply = receive(connection, options.timeout)
        except OSError as error:
            print(f"No reply ({error}). Is the password right? Some commands are never answered.", file=sys.stderr)
            return 4
    print(shown(reply))
    return 1 if reply.startswith("<p:commandRejected") else 0


if __name__ == "__main__":
    sys.exit(main())
