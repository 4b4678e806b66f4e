#!/bin/bash
# A helper process that does what its script says, however wrong. The script lies beside the path
# under which the program was started, with ".script" appended, and is written in the words below.
# After its last step the program reads on to the end of its input. Every line that it read stands in
# a file beside it, with ".received" appended.

[[ $1 == app-server ]] || exit 99
LC_ALL=C

hear() {
    IFS= read -r line || exit 0 # the utility has closed the input
    printf '%s\n' "$line" >>"$0.received"
}
expect() {
    hear
    [[ $line == *"\"method\":\"$1\""* ]] || exit 99
    [[ $line =~ \"id\":([0-9]+) ]] && id=${BASH_REMATCH[1]}
}
# In texts "$ID" stands for the id of the request that was read last, "\n" for a line feed.
say() { printf '%b' "${1//\$ID/$id}"; }
send() { say "$1\n"; }
bytewise() {
    local text=${1//\$ID/$id}$'\n' i
    for ((i = 0; i < ${#text}; ++i)); do printf '%s' "${text:i:1}"; done
}
flood() { head -c "$1" /dev/zero | tr '\0' x; }
answer-of() { # exactly so many bytes and a line feed
    local start="{\"id\":$id,\"result\":{\"padding\":\""
    say "$start"
    flood $(($1 - ${#start} - 3))
    send '"}}'
}
grandchild() { sleep infinity & }
hang() { exec sleep infinity; }

# shellcheck source=/dev/null
source "$0.script"
cat >>"$0.received"
