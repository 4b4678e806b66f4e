#!/bin/sh
# no-process-left.sh MARK: fails, listing them, when processes still run whose environment holds
# the line MARK, which every test and so everything that a test starts has inherited.
mark=$1

# A process that was killed may need a moment to go.
tries=50
while [ $tries -gt 0 ]; do
    left=$(grep -slzFx "$mark" /proc/[0-9]*/environ)
    [ -n "$left" ] || exit 0
    sleep 0.1
    tries=$((tries - 1))
done

echo "These processes were left behind:"
for file in $left; do
    process=${file%/environ}
    printf '  %s  %s\n' "${process#/proc/}" "$(tr '\0' ' ' 2>/dev/null <"$process/cmdline")"
done
exit 1
