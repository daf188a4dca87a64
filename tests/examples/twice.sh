#!/bin/sh
# Runs a program twice with an empty directory that is gone afterwards.
# usage: twice.sh PROGRAM
directory=$(mktemp -d) || exit 1
trap 'rm -rf "$directory"' EXIT
ZOCACHED_OPTIONS='--idle-exit 1'
export ZOCACHED_OPTIONS
"$1" "$directory" && "$1" "$directory"
