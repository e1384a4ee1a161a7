#!/usr/bin/env bash
# Placeholder until the benchmarks land under bench/.
set -euo pipefail
echo "no benchmarks yet"
