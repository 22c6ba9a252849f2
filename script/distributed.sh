# Hosts of 16 cameras that record on a network file system, which is mounted twice, at host1 and host2
# of the working directory, as two machines would. The first records while things happen to the
# servers and to itself. All that was accepted is looked for on the second mount: lost is what is not
# there, missed is that and what was refused.
#
# Sourced by the scripts of single file systems, after script/common.sh, with their arguments: the
# layouts. They make the folder notes, for what a host notes down, and define
#     compare_copies     adds to $wrong when the servers do not all hold the same
#     lose_machine       cuts the first machine off from the servers, for good
#     replace_machine    puts another one in its place
# shellcheck shell=bash

layouts='backup client'
[[ ${1-} != --layouts ]] || layouts=$2
cameras_program=$PWD/build/release/tests/Power/cameras
passed=0
failed=0

# start_host MOUNT RUN: leaves the process in $host; false when it does not start.
start_host() {
    "$cameras_program" record "notes/$2" "notes/log$2" dir="$PWD/$1/$directory" layout="$layout" \
        cameras=16 restarts=4 run="$2" 2>>notes/errors &
    host=$!
    sleep 2
    kill -0 $host 2>/dev/null
}

stop_host() {
    kill -TERM "$1"
    wait "$1" || wrong+="; the host failed"
}

# ---- What happens; the first host records, and the cases end with no host running ----

second_host() {
    local first=$host
    remark="refused"
    if start_host host2 1; then
        remark="let in"
        wrong+="; the second host was let in"
        sleep 3
        stop_host "$host"
    fi
    stop_host "$first"
}

# Another host starts on the second mount, as soon as it can.
take_over() {
    local begin=$SECONDS
    until start_host host2 1; do
        if ((SECONDS - begin > 60)); then
            wrong+="; the second host does not start"
            return 1
        fi
    done
    remark="after $((SECONDS - begin - 2)) s"
}

process_killed() {
    kill -KILL "$host"
    { wait "$host"; } 2>/dev/null || true
    take_over || return 0
    sleep 5
    stop_host "$host"
}

machine_lost() {
    lose_machine
    kill -KILL "$host"
    disown "$host" # what it waits for may never come
    take_over || return 0
    sleep 5
    stop_host "$host"
    replace_machine
}

# ---- The table ----

# begin_table: what run_case prints a line of.
begin_table() {
    echo "| layout | the first host's           | writes | refused | longest s | lost s | missed s |" \
        "recordings |"
    echo "|---|---|---|---|---|---|---|---|"
}

# is_most A B: whether A is at most B.
is_most() {
    awk -v a="$1" -v b="$2" 'BEGIN { exit !(a <= b) }'
}

# run_case NAME FUNCTION REFUSED LONGEST LOST: at most so many writes may be refused, a write may take
# so many seconds, and so many of what was accepted from a camera may be lost.
run_case() {
    local run=0 name=$1 wrong='' remark='' host
    local writes refused last told opens longest lost missed
    directory=$2-$layout
    rm -rf notes/*
    mkdir "host1/$directory"
    if start_host host1 0; then
        sleep 3
        $2
    else
        wrong+="; the host does not start"
    fi
    "$cameras_program" all "$layout" "$PWD/host2/$directory" notes/[01] >notes/found \
        2>>notes/errors || wrong+="; $(wc -l <notes/errors) complaints"
    compare_copies
    while read -r writes refused last told opens longest lost missed; do
        ((refused <= $3)) || wrong+="; $refused writes refused"
        ((refused == 0 || told + opens > 0)) || wrong+=", not told"
        ((last == 0)) || wrong+="; $last refused at the end"
        is_most "$longest" "$4" || wrong+="; a write took $longest s"
        is_most "$lost" "$5" || wrong+="; lost $lost s of what was accepted"
        printf '| %-6s | %-26s | %6d | %7d | %9s | %6s | %8s | %10d |\n' "$layout" "$name" \
            "$writes" "$refused" "$longest" "$lost" "$missed" \
            "$(find "host2/$directory" -name '*.mp4' | wc -l)"
        run=$((run + 1))
        name="  the second, $remark"
    done <notes/found
    [[ $run -gt 0 ]] || wrong+="; nothing to be found"
    if [[ -z $wrong ]]; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        echo "FAILED: $layout, $1: ${wrong#; }"
        grep -v 'does not start' notes/errors | head -5 || true
    fi
}

# tell_result: of all cases; the last line is "N passed, M failed".
tell_result() {
    echo "$passed passed, $failed failed"
    [[ $failed -eq 0 ]]
}
