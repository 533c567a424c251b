#!/usr/bin/env bash
# Mutation measure of the tests: how many small faults planted in the product
# code each group's tests catch. Long (about half an hour on 2 cores); not
# part of CI. See scripts/mutants.py for the mutant kinds and the verdicts.
#
# Usage: scripts/mutants.sh [--jobs N] [--per-group N] [--seed N] [--elsewhere] [group...]
set -euo pipefail
cd "$(dirname "$0")/.."
exec python3 scripts/mutants.py "$@"
