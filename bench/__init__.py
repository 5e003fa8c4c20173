"""The bench: throwaway Windows machines under Wine, what is planted on them, and what a run is expected to make of it.

Nothing here touches anything outside a machine's own folder, which lies below build/bench.
"""

from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
DATA = ROOT / "bench" / "data"
MANIFEST = ROOT / "src" / "resources" / "ScrubList.JSON"
# Where machines, their template and what runs leave behind lie.
BENCH_FOLDER = ROOT / "build" / "bench"
