#!/bin/sh
# Runs a program twice with an empty directory that is gone afterwards.
# usage: twice.sh PROGRAM
directory=$(mktemp -d) || exit 1
# The server puts its files back until it ends.
trap 'for i in $(seq 100); do rm -rf "$directory" 2>/dev/null && exit; sleep 0.1; done' EXIT
ZOCACHED_OPTIONS='--idle-exit 1'
export ZOCACHED_OPTIONS
"$1" "$directory" && "$1" "$directory"
