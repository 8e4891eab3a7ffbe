# To be sourced: runs a host in the background, on a free port, until the script ends.
directory=$(mktemp -d)
host_pid=
clean_up() {
    [ -z "$host_pid" ] || kill "$host_pid" 2> /dev/null || true
    rm -rf "$directory"
}
trap clean_up EXIT

# start_host PROGRAM [ARGUMENT...]: the port is given as the last argument and left in $port.
start_host() {
    local attempt
    for attempt in 1 2 3; do # another program may have the port
        port=$((20000 + RANDOM % 20000))
        : > "$directory/host" # or the output of an earlier host is read
        ORVANE_USER=operator ORVANE_PASSWORD=only-for-this-test "$@" "$port" > "$directory/host" 2>&1 &
        host_pid=$!
        while kill -0 "$host_pid" 2> /dev/null; do
            ! grep -qs '^Listening' "$directory/host" || return 0
            sleep 0.05
        done
    done
    echo "The host did not start:" >&2
    cat "$directory/host" >&2
    return 1
}

# stop_host: as systemd does, with SIGTERM; returns the status of the host.
stop_host() {
    local ended=$host_pid
    host_pid=
    kill "$ended"
    wait "$ended"
}

# wait_until COMMAND...: until it succeeds, for at least a minute.
wait_until() {
    for _ in {1..1200}; do
        ! "$@" > /dev/null 2>&1 || return 0
        sleep 0.05
    done
    echo "Never succeeded: $*" >&2
    exit 1
}

# expect STATUS TEXT COMMAND...: the command must end with this status and print this text.
expect() {
    local status=0 output
    output=$("${@:3}" 2>&1) || status=$?
    echo "$output"
    [ "$status" -eq "$1" ] && [[ $output == *"$2"* ]] && return 0
    echo "Expected status $1 and: $2; status was $status" >&2
    exit 1
}

# expect_first_host PROGRAM: the host of examples/first-host, with its key.
expect_first_host() {
    expect 1 'Set ORVANE_USER and ORVANE_PASSWORD' "$1"
    nm "$1" | grep 'qInitResources_tls' > /dev/null || { echo "No key in $1" >&2; exit 1; }
}
