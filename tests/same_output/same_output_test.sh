#!/usr/bin/env bash
# Holds what the program prints against expected.txt:  same_output_test.sh PROGRAM
set -euo pipefail
diff -u "$(dirname "$0")/expected.txt" <("$1" || echo "same_output: exit status $?") || {
   echo "This build's output is another. If the change is meant: script/same-output --update" >&2
   exit 1
}
