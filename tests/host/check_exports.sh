#!/usr/bin/env bash
# Fails when the shared library exports anything but the 29 Quorb functions
# and the host controls of quorb_services.h.
set -euo pipefail
library=$1
expected=$(sort <<'NAMES'
AllKeyModeClear
AllKeyModeGet
AllKeyModeSet
DupKeyModeGet
DupKeyModeSet
ElsetKeyModeGet
ElsetKeyModeSet
LoadReportSetSink
ManeuverCardGet
QuorbAddSatFrArray
QuorbAddSatFrArrayML
QuorbAddSatFrFields
QuorbAddSatFrFieldsML
QuorbAddSatFrLines
QuorbAddSatFrLinesML
QuorbArrayToLines
QuorbDataToArray
QuorbFieldsToLines
QuorbFieldsToSatKey
QuorbFieldsToSatKeyML
QuorbGetAllFields
QuorbGetCount
QuorbGetField
QuorbGetInfo
QuorbGetLines
QuorbGetLoaded
QuorbGetSatKey
QuorbGetSatKeyML
QuorbInit
QuorbLinesToArray
QuorbLoadFile
QuorbParse
QuorbRemoveAllSats
QuorbRemoveSat
QuorbSaveFile
QuorbSetField
QuorbUpdateSatFrArray
QuorbUpdateSatFrFields
TraceLogClose
TraceLogLastError
TraceLogLastInfo
TraceLogOpen
TraceLogSetSink
UseAllKeyMode
NAMES
)
actual=$(nm -D --defined-only "$library" | awk '{print $NF}' | sort)
if [ "$actual" != "$expected" ]; then
  echo "exported symbols differ from the public interface:"
  diff <(echo "$expected") <(echo "$actual") || true
  exit 1
fi
echo "exports: $(echo "$actual" | wc -l) symbols, as expected"
