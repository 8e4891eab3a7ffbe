"""A misbehaving host for the tests of the command-line client. It prints what it was sent.

Usage: peer.py KIND ANSWER CLIENT [ARGUMENT...] runs the client against it and ends with the client's status.
  tls     answers the first command after the login, and sends no more
  second  answers what comes after the first command, and prints what it gets
  late    answers every command with its number as COUNT, but the first one only when there is another
  more    answers the first command, and again when it gets the next message; other commands get no answer
  many    answers like a host with ANSWER recorders
  drip    answers the first command with bytes that have no end
  endless answers the first command again and again
  silent  answers nothing, and prints what it gets after the login
  plain   greets without TLS, and closes when the client does
  shut    closes at once
"""
import contextlib
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


def rejection(command):
    return b"<commandRejected><commandname>" + command + b"</commandname><reason>Unknown command</reason></commandRejected>" + END


def messages(connection, accepts_account=True):
    """Yields the client's messages until it closes, except for its check of the login, which is answered."""
    received = b""
    is_logged_in = False
    while piece := connection.recv(4096):
        received += piece
        *complete, received = received.split(END)
        for message in complete:
            is_logged_in = accepts_account and (is_logged_in or message.startswith(b"<loginClient>"))
            if message != b"<end-of-query-0/>":
                yield message
            elif is_logged_in:
                connection.sendall(rejection(b"end-of-query-0"))


def reply(root, content):
    return f'<p:{root} xmlns:p="http://www.halden.example/ravo_1_0/">{content}</p:{root}>'.encode() + END


def good_answer(message, recorders):
    if message.startswith(b"<getRecorderList>"):
        return reply("getRecorderListResponse", '<recorder name="North gate" ip=""></recorder>' * recorders)
    if message.startswith(b"<getPresetsList>"):
        return reply("getPresetsListResponse", '<preset name="Night" />')
    name = message[1:].partition(b">")[0].rstrip(b"/").decode()
    reason = "showTrack command without valid track ID or track name" if name == "showTrack" else "Unknown command"
    return reply("commandRejected", f"<commandname>{name}</commandname><reason>{reason}</reason>")


def serve(listener, kind, answer, documents):
    if kind in ("plain", "shut"):
        connection = listener.accept()[0]
        connection.sendall(answer)
        while kind == "plain" and connection.recv(4096):
            pass
        connection.close()
        return
    while True:
        try:
            connection = accept(listener)
        except OSError:  # main() has closed the listener
            return
        with contextlib.suppress(OSError), connection:
            if kind == "late":
                answer_late(connection, answer, documents)
            for count, message in enumerate(messages(connection)):
                serve_message(connection, kind, answer, count, message, documents)


def answer_late(connection, answer, documents):
    held = b""
    for message in messages(connection):
        if not message.startswith((b"<end-of-query", b"<loginClient>")):
            documents.append(message)
            held += answer.replace(b"COUNT", str(len(documents)).encode())
        if len(documents) > 1:
            connection.sendall(held)
            held = b""


def serve_message(connection, kind, answer, count, message, documents):
    """The first message is the login."""
    if count > 0:
        documents.append(message)
    if count == 1 and kind == "tls":
        connection.sendall(answer)
        connection.shutdown(socket.SHUT_WR)  # keep reading, or the system could drop what the client has not read yet
    elif count == 2 and kind == "second":
        connection.sendall(answer)
    elif kind == "more":
        is_fence = message.startswith(b"<end-of-query-")
        connection.sendall(answer * (1 <= count <= 2) + rejection(message[1:-2]) * is_fence)
    elif kind == "many":
        connection.sendall(good_answer(message, int(answer)))
    while count > 0 and kind in ("drip", "endless"):
        connection.sendall(b"." if kind == "drip" else answer * 100)
        time.sleep(0.01 if kind == "drip" else 0)


def main(kind, answer, program, *arguments):
    listener = listen()
    documents = []
    answer = answer.encode().decode("unicode_escape").encode("latin-1")
    thread = threading.Thread(target=serve, args=(listener, kind, answer, documents), daemon=True)
    thread.start()
    status = subprocess.run([program, "--port", str(listener.getsockname()[1]), *arguments]).returncode
    socket.create_connection(listener.getsockname()).close()
    if kind in ("silent", "second"):
        thread.join(300)
        for document in documents:
            print("host got:", document.decode())
    return status


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
