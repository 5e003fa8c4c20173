"""The figures of the benchmark as tables: ratios, growth, shares."""

from collections.abc import Iterable


def table(heads: list[str], rows: Iterable[list[str]]) -> str:
    """A Markdown table, its columns padded to one width."""
    cells = [heads, *rows]
    widths = [max(len(row[column]) for row in cells) for column in range(len(heads))]
    lines = [
        "| " + " | ".join(text.ljust(width) for text, width in zip(row, widths, strict=True)) + " |" for row in cells
    ]
    lines.insert(1, "|" + "|".join("-" * (width + 2) for width in widths) + "|")
    return "\n".join(lines) + "\n"


def ratio(numerator: float | None, denominator: float | None) -> str:
    """Two decimals, or a dash where one of the costs is lost in the noise of the machine's own."""
    if numerator is None or denominator is None or numerator <= 0 or denominator <= 0:
        return "-"
    return f"{numerator / denominator:.2f}"


def growth(now: float | None, before: float | None) -> str:
    """How many times the cost of a tenth of the work."""
    if now is None or before is None or now <= 0 or before <= 0:
        return "-"
    return f"x {now / before:.1f}"


def megabytes(size: int) -> str:
    """Of 2^20 bytes."""
    return f"{size / 2**20:.0f} MB"
