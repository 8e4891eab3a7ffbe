"""A host for the tests of the command-line client: it does what no good host does, and shows what it was sent.

Usage: peer.py KIND ANSWER CLIENT [ARGUMENT...] runs the client against it and ends with the client's status.
  tls     answers the first command behind the login, and closes
  second  answers what comes behind the first command, and prints what it gets
  slow    answers every command when the client has sent something behind it, and rejects that
  drip    answers the first command with bytes that have no end
  endless answers the first command again and again
  silent  answers nothing, and prints what it gets behind the login
  plain   greets without TLS, and closes when the client does
  shut    closes at once
"""
import os
import socket
import ssl
import subprocess
import sys
import threading
import time

END = b"\r\n\r\n"


def listen():
    return socket.create_server(("127.0.0.1", 0))


def accept(listener):
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(os.environ["CERTIFICATE"], os.environ["CERTIFICATE"].replace("hxcert", "hxkey"))
    return context.wrap_socket(listener.accept()[0], server_side=True)


def messages(connection):
    """What the client sends, message by message, until it closes; but for its check of the login."""
    received = b""
    while piece := connection.recv(4096):
        received += piece
        *complete, received = received.split(END)
        yield from (message for message in complete if message != b"<end-of-query-0/>")


def serve(listener, kind, answer, documents):
    if kind in ("plain", "shut"):
        connection = listener.accept()[0]
        connection.sendall(answer)
        while kind == "plain" and connection.recv(4096):
            pass
        connection.close()
        return
    with accept(listener) as connection:
        for count, message in enumerate(messages(connection)):
            if count > 0:
                documents.append(message)
            while count > 0 and kind in ("drip", "endless"):
                try:
                    connection.sendall(b"." if kind == "drip" else answer * 100)
                except OSError:
                    return
                time.sleep(0.01 if kind == "drip" else 0)
            if kind == "slow" and message.startswith(b"<end-of-query"):
                connection.sendall(answer)
                connection.sendall(b"<commandRejected><commandname>" + message[1:-2] + b"</commandname></commandRejected>" + END)
            if count == 2 and kind == "second":
                connection.sendall(answer)
            if count > 0 and kind == "tls":
                connection.sendall(answer)
                connection.shutdown(socket.SHUT_WR)
                while connection.recv(4096):  # or the system could drop what the client has not read yet
                    pass
                return


def main(kind, answer, program, *arguments):
    listener = listen()
    documents = []
    answer = answer.encode().decode("unicode_escape").encode("latin-1")
    thread = threading.Thread(target=serve, args=(listener, kind, answer, documents), daemon=True)
    thread.start()
    status = subprocess.run([program, "--port", str(listener.getsockname()[1]), *arguments]).returncode
    if kind in ("silent", "second"):
        thread.join(300)
        for document in documents:
            print("host got:", document.decode())
    return status


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
