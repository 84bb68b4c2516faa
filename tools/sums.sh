#!/usr/bin/env bash
# Writes SHA256SUMS into a folder: a line for each file below it.
#
# tools/sums.sh FOLDER
. "$(dirname "$0")/script.sh"
script_words 1 "$@"
(($# == 1)) || script_refuse "a folder is missing"
cd "$script_caller" || exit
cd "$1" || script_fail "There is no such folder: $1"
sums=$(find . -type f ! -name SHA256SUMS -printf '%P\0' | LC_ALL=C sort -z | xargs -r0 sha256sum)
echo "$sums" >SHA256SUMS
