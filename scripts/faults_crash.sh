# The runs of faults.sh that kill the bridge, or cut its power, while files arrive. To be sourced by it.

LIB=$PWD/build/${LUMO_PRESET:-release}/lib
DISK=$OUT/disk # what the disk holds, of the run lost_writes

# Files of several sizes, and the orders that send them over and over.
make_uploads() {
    local size i
    for size in 1 5000 12345 60000 250000; do head -c $size /dev/urandom >up.$size; done
    printf "upload %d up.%d\n" 1 1 2 5000 3 12345 4 60000 5 250000 >orders
    for ((i = 0; i < 200; ++i)); do cat orders; done >all_orders
    md5sum up.[0-9]* | cut -d ' ' -f 1 | sort >sources
}

# A client sends files until the bridge is killed.
upload_until_killed() {
    start_client shell --block 5000 <all_orders
    sleep "0.0$((RANDOM % 90 + 10))"
    kill_bridge
    wait "$CLIENT" || true
}

kill_bridge() {
    kill -KILL "$BRIDGE"
    wait "$BRIDGE" || true
}

# The MD5 of each file that the client had acknowledged since its log was emptied.
acknowledged_files() {
    sed -n 's/^upload .* done: .*MD5 //p' client.log | sort
}

# Every file that the machine was told of, or that the client had acknowledged, lies there whole after the restart. The
# machine takes the files then.
announced_files_are_whole() {
    local path size md5
    sed -n 's/^file .* received: \(.*\) (\([0-9]*\) bytes, MD5 \(.*\))$/\1 \2 \3/p' machine.log >announced
    : >machine.log
    while read -r path size md5; do
        [ "$(stat -c %s "$path") $(md5sum <"$path" | cut -d ' ' -f 1)" = "$size $md5" ] ||
            { say "lost: $path of $size bytes, MD5 $md5"; return 1; }
    done <announced
    TOLD=$((TOLD + $(wc -l <announced)))
    find BridgeTemp -name '*.tmp' -exec md5sum {} + | cut -d ' ' -f 1 | sort >kept
    acknowledged_files >acknowledged
    [ -z "$(comm -13 kept acknowledged)" ] || { say "lost: an acknowledged file"; return 1; }
    rm -f BridgeTemp/*.tmp
}

run_killed() {
    local i
    TOLD=0
    begin tcp 400
    make_uploads
    for ((i = 0; i < KILLS; ++i)); do
        : >client.log
        upload_until_killed
        start_bridge
        announced_files_are_whole
        TRIALS=$((TRIALS + 1))
    done
    say "$KILLS kills, $TOLD files announced"
    settle
}

# The bridge is at rest: no file is half told.
await_no_mark() {
    local tries
    for ((tries = 0; tries < 400; ++tries)); do
        compgen -G 'BridgeTemp/*.partial' >/dev/null || compgen -G 'BridgeTemp/*.untold' >/dev/null || return 0
        sleep 0.025
    done
    say "a mark stays: $(ls BridgeTemp)"
    return 1
}

# The machine was told of each file that the client had acknowledged, of none that is not whole, and nothing else is left.
all_is_told() {
    await_no_mark
    acknowledged_files >acknowledged
    sed -n 's/^file .* received: .* (.*MD5 \(.*\))$/\1/p' machine.log | sort >told
    find BridgeTemp -name '*.tmp' -exec md5sum {} + | cut -d ' ' -f 1 | sort >kept
    [ -z "$(comm -23 acknowledged told)" ] || { say "not told: an acknowledged file"; return 1; }
    ! grep -F "cannot be read" machine.log || { say "told of a file that is not there"; return 1; }
    [ -z "$(sort -u told kept | comm -23 - sources)" ] || { say "told or left: a file that is not whole"; return 1; }
    rm -f BridgeTemp/*.tmp
    : >machine.log
}

# Every second time the bridge is killed between its last ACK and the announcement; else at any moment.
run_told_once() {
    local held=0
    begin tcp 400
    make_uploads
    stop_bridge
    for ((TRIALS = 0; TRIALS < KILLS; ++TRIALS)); do
        : >client.log
        if [ $((TRIALS % 2)) -eq 0 ]; then
            BRIDGE_WITH=(env LD_PRELOAD="$LIB/libHeldAnnouncement.so")
            start_bridge
            BRIDGE_WITH=()
            client upload 3 up.12345 >>client.log 2>&1
            kill_bridge
            compgen -G 'BridgeTemp/*.untold' >/dev/null || { say "nothing was held"; return 1; }
            held=$((held + 1))
        else
            start_bridge
            upload_until_killed
        fi
        start_bridge
        all_is_told
        stop_bridge
    done
    say "$KILLS kills, $held of them between ACK and announcement"
    start_bridge
    settle
}

# The folder of received files as a disk has it that kept nothing but what was flushed.
lose_writes() {
    local key name
    rm -rf BridgeTemp
    mkdir BridgeTemp
    while read -r key name; do
        cp "$DISK/$key" "BridgeTemp/$name" 2>/dev/null || : >"BridgeTemp/$name"
    done <"$DISK/entries"
}

run_lost_writes() {
    TOLD=0
    BRIDGE_WITH=(env LD_PRELOAD="$LIB/libForgetfulDisk.so" FORGETFUL_DISK="$DISK")
    mkdir -p "$DISK"
    begin tcp 400
    make_uploads
    for ((TRIALS = 0; TRIALS < KILLS; ++TRIALS)); do
        : >client.log
        upload_until_killed
        lose_writes
        rm -rf "$DISK"
        mkdir "$DISK"
        start_bridge
        await_no_mark
        announced_files_are_whole
    done
    say "$KILLS power cuts, $TOLD files announced"
    settle
    rm -rf "$DISK"
}
