#!/bin/sh
# Runs the daemon under valgrind memcheck; tandrel-sim starts this in the daemon's place.
# TANDREL_MEMCHECK_DAEMON names the daemon, TANDREL_MEMCHECK_LOGS the directory of the logs.
exec valgrind --tool=memcheck --leak-check=full --show-leak-kinds=definite,indirect \
    --errors-for-leak-kinds=definite,indirect --track-origins=yes --num-callers=30 \
    --log-file="$TANDREL_MEMCHECK_LOGS/memcheck.%p.log" "$TANDREL_MEMCHECK_DAEMON" "$@"
