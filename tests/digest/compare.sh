#!/usr/bin/env bash
# Compares the digests that two builds of qvovc_digest print.
set -eu
diff <("$1") <("$2") || { echo "the builds differ in the operations above"; exit 1; }
"$1" | wc -l | sed 's/$/ digests agree/'
