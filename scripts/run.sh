#!/usr/bin/env bash
# Builds Tessarine, TessarineDiag and the simulated laptop's devices, then
# runs the demo (scripts/demo.sh): the unmodified Tessarine.exe as a service
# under Wine on the simulated laptop, through plugging and pulling a cable,
# the user's Wi-Fi switch and airplane mode, with a timeline of what the
# service did, the log lines that say why, what TessarineDiag status reads
# at the end and the story TessarineDiag explain tells from the log. Installs what it needs first. Needs root
# (the laptop's network namespace); leaves nothing behind.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake --preset default >/dev/null
cmake --build --preset default --target Tessarine TessarineDiag sim_wlanapi sim_comserver sim_control

bash scripts/demo.sh
