#!/bin/sh
# Runs a program that sees no processes but its own, where the system allows that: it neither meets
# copies of the utility that others run nor asks them to quit.
alone="unshare --user --map-current-user --pid --fork --kill-child --mount-proc"
if $alone true 2>/dev/null; then
  # A shell is the first process, which waits for whatever loses its parent.
  exec $alone /bin/sh -c '"$0" "$@"; exit $?' "$@"
fi
exec "$@"
