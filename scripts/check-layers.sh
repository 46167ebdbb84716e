#!/usr/bin/env bash
# Fails when a folder of the library includes a header of a folder above it.
#
# Layers, bottom to top; folders of one rank may include each other:
#   base < model < parameters < imaging < masks, device < roll < capture
#   < sdk (with the public header in include/) < tools
# The simulator and the recorder stand apart: they include nothing of ours but each other,
# and only tools may include them.
# Tests, benchmarks, fuzz targets, examples and the Python package may include anything.
#
#   scripts/check-layers.sh              check the tree this script lives in
#   scripts/check-layers.sh --self-test  check the check on made-up include lines
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
folders="base model parameters imaging masks device roll capture sdk tools simulator recorder"

# Reads "file:line:text" records (grep -n output, paths from the root) on stdin and
# prints every upward include; exits 1 when there was one.
check() {
  awk -v public="$1" '
    BEGIN {
      # The first folder of a path is its layer.
      n = split("base:0 model:1 parameters:2 imaging:3 masks:4 device:4 " \
                "roll:5 capture:6 include:7 sdk:7 tools:8 simulator:-1 recorder:-1", pairs, " ")
      for (i = 1; i <= n; ++i) {
        split(pairs[i], kv, ":")
        prefix[i] = kv[1]; rank[i] = kv[2]
      }
      split(public, names, " ")
      for (i in names) isPublic[names[i]] = 1
      bad = 0
    }
    function layer(path,    i, top) {
      top = path; sub(/\/.*/, "", top)
      for (i = 1; i <= n; ++i)
        if (top == prefix[i] && path != top)
          return i
      return 0
    }
    {
      file = $0; sub(/:.*/, "", file)
      rest = substr($0, length(file) + 2)
      num = rest; sub(/:.*/, "", num)
      text = substr(rest, length(num) + 2)
      if (!match(text, /^[ \t]*#[ \t]*include[ \t]*["<][^">]+[">]/))
        next
      inc = substr(text, RSTART, RLENGTH)
      sub(/^[^"<]*["<]/, "", inc); sub(/[">]$/, "", inc)
      from = layer(file)
      if (from == 0)
        next
      to = layer(inc)
      if (to == 0 && (inc in isPublic))
        to = layer("include/" inc)
      if (to == 0)
        next # a system or library header, or one beside the includer
      fromName = prefix[from]; toName = prefix[to]
      if (rank[from] == -1)
        ok = (rank[to] == -1)
      else if (rank[to] == -1)
        ok = (fromName == "tools")
      else
        ok = (rank[to] <= rank[from])
      if (!ok) {
        printf "%s:%s: %s (%s may not include %s)\n", file, num, text, fromName, toName
        bad = 1
      }
    }
    END { exit bad }'
}

public_headers() {
  (cd "$root/include" && ls)
}

if [[ "${1:-}" == "--self-test" ]]; then
  up='model/FpImage.h:3:#include "capture/TpTripleBuffer.h"
base/Exceptions.cpp:2:#include "livescannerkx2.h"
masks/IpKX2DevelMask.cpp:4:#include "roll/IpAutoRoll5.h"
simulator/SimRender.cpp:1:#include "base/Exceptions.h"
capture/KX2FramePrep.cpp:1:#include "simulator/SimRender.h"
device/RDKXScanAPIWrapper.cpp:1:#include "recorder/RecordFile.h"
recorder/RecordFile.cpp:1:#include "base/Exceptions.h"
sdk/KX2Handle.cpp:1:#include "tools/CliOptions.h"'
  fine='model/FpImage.cpp:1:#include "base/Exceptions.h"
masks/IpKX2DevelMask.cpp:2:#include "device/KXScanAPI.h"
device/KXScanAPI.h:2:#include "masks/IpKX2DevelMask.h"
imaging/Ip1to1Base.h:1:  #  include "parameters/ParameterContainer.h"
sdk/ExportsLibrary.cpp:1:#include "livescannerkx2.h"
sdk/KX2Handle.cpp:1:#include <boost/property_tree/ptree.hpp>
tools/roll_pictures.cpp:1:#include "simulator/SimRender.h"
simulator/JsonTree.cpp:1:#include "simulator/JsonTree.h"
simulator/device/SimReplay.h:1:#include "recorder/RecordFile.h"
recorder/ScanApiRecorder.cpp:1:#include "simulator/device/ScanApiRecords.h"
tools/RecordCommands.cpp:1:#include "recorder/RecordFile.h"
tests/sdk/SdkObjectTest.cpp:1:#include "tools/CliOptions.h"'
  found=$(check "$(public_headers)" <<<"$up" || true)
  if [[ $(wc -l <<<"$found") -ne $(wc -l <<<"$up") ]]; then
    echo "self-test: expected every line of the upward set reported, got:" >&2
    echo "$found" >&2
    exit 1
  fi
  if ! check "$(public_headers)" <<<"$fine"; then
    echo "self-test: a permitted include was reported" >&2
    exit 1
  fi
  echo "self-test passed"
  exit 0
fi

cd "$root"
# shellcheck disable=SC2086
find $folders -type f \( -name '*.h' -o -name '*.hpp' -o -name '*.c' -o -name '*.cc' \
  -o -name '*.cpp' -o -name '*.inl' \) -print0 | sort -z |
  { xargs -0 -r grep -nH -E '^[[:space:]]*#[[:space:]]*include' || true; } |
  check "$(public_headers)"
