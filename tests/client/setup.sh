# To be sourced by the transcripts: starts the example host, and defines short names for the client.
. "$TESTDIR/../support/host-process.sh"
export LC_ALL=C.UTF-8
unset "${!ORVANE_@}"
export XDG_CONFIG_HOME=$PWD/config XDG_DATA_HOME=$PWD/data
fingerprint=$(openssl x509 -in "$CERTIFICATE" -noout -fingerprint -sha256 | cut -d= -f2)
patience=(--timeout 60) # for a busy machine; shorter if no answer may come

# trusting ARGUMENT...: the client, with the trust that its arguments give.
trusting() {
    timeout 300 "$CLIENT" --port "$port" "${patience[@]}" "$@" 2>&1 | hide
    return "${PIPESTATUS[0]}"
}

# calls NUMBER: the host's last calls.
calls() { sed -n 's/^Host was asked: //p' "$directory/host" | tail -n "$1"; }
orvane() { trusting --insecure "$@"; }
forced() { orvane --force "$@"; }

# refused: runs the lines of standard input, all of them wrong usage.
refused() {
    local line
    while read -r line; do
        (eval "$line" 2>&1; echo "status $?") | sed 's/^orvane-client: //; s/ (see --help)$//; /^status 1$/d'
    done
}

# against KIND ANSWER ARGUMENT...: the client against a host that misbehaves, see peer.py.
against() {
    local kind=$1 answer=$2
    timeout 300 "$PYTHON" "$TESTDIR/peer.py" "$kind" "$answer" "$CLIENT" --insecure --force "${patience[@]}" "${@:3}" 2>&1 | hide
    return "${PIPESTATUS[0]}"
}
sent() { against second "$(rejected end-of-query-1)" "$@" | grep '^host got: <[^e]'; }
rejected() { echo "<commandRejected><commandname>$1</commandname><reason>Unknown command</reason></commandRejected>\r\n\r\n"; }

# in_vain PATTERN COMMAND...: a command that times out; again with more time if the output does not match yet.
in_vain() {
    local patience seconds status output
    for seconds in 0.3 3 30; do
        patience=(--timeout "$seconds") status=0
        output=$("${@:2}") || status=$?
        # shellcheck disable=SC2053
        [[ $output != *$1* ]] || break
    done
    echo "$output"
    return "$status"
}

# at_ease COMMAND...: repeated while it finds the host slow, on a busy machine.
at_ease() {
    local status output
    for _ in {1..20}; do
        status=0
        output=$("$@") || status=$?
        [[ $output == *'slow: '* ]] || break
    done
    echo "$output"
    return "$status"
}

# without_reader COMMAND...: with a standard output whose reader has gone.
without_reader() {
    "$PYTHON" -c 'import os, subprocess, sys
end, output = os.pipe()
os.close(end)
sys.exit(subprocess.run(sys.argv[1:], stdout=output).returncode)' "$@"
}

# What differs from run to run, or from one release of a library to the next.
hide() {
    sed "/^[<>] .*end-of-query-[1-9]/,+1d # of a host that does not answer at once
        s/$fingerprint/FINGERPRINT/; s/\(127\.0\.0\.1:\)[0-9]*/\1PORT/; s/ within [0-9.]* s/ within TIME/
        s/\(no TLS connection to [^ ]*:\) [^(]*[^( ]/\1 REASON/; s/refused: The .* (if/refused: REASON (if/
        s/ *[0-9]\+ ms /  TIME /; s/[0-9.]\+ ms/TIME/g; s/valid until [-0-9]*/valid until DATE/
        /it is empty$/!s/\(not well-formed XML:\) .*/\1 REASON/
        s/^[<>] \|^$/|&/" # a line that is empty, or that cram would take for more of the command
}

start_host "$HOST"
