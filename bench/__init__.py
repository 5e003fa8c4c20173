"""The bench: throwaway Windows machines under Wine, what is planted on them, and what a run is expected to do to them.

Nothing here touches anything outside a machine's own folder below build/bench.
"""

from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
DATA = ROOT / "bench" / "data"
MANIFEST = ROOT / "src" / "resources" / "ScrubList.JSON"
# Machines, their template and the results of runs.
BENCH_FOLDER = ROOT / "build" / "bench"
