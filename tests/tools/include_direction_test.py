"""Which includes tools/include_direction.py finds fault with."""

from __future__ import annotations

from pathlib import Path

from tools.include_direction import acting_includes, library_sources, loops, wrong_includes

LIBRARIES = """
add_module(orv_system_find
  SOURCES
    system/look.cpp
  LIBRARIES
    advapi32  # registry
    user32)   # GetSystemMetrics

add_module(orv_system
  SOURCES
    system/remove.cpp
    system/start.cpp)

target_link_libraries(orv_find INTERFACE
  orv_system_find)
"""


def plant(sources: Path, files: dict[str, list[str]]) -> Path:
    for name, includes in files.items():
        path = sources / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text("".join(f'#include "{header}"\n' for header in includes), encoding="utf-8")
    (sources / "CMakeLists.txt").write_text(LIBRARIES, encoding="utf-8")
    return sources


def test_the_sources_of_each_library_are_read(tmp_path: Path) -> None:
    assert library_sources(plant(tmp_path, {})) == {
        "orv_system_find": ["system/look.cpp"],
        "orv_system": ["system/remove.cpp", "system/start.cpp"],
    }


def test_acting_code_may_include_reading_code(tmp_path: Path) -> None:
    sources = plant(tmp_path, {"system/look.cpp": ["system/look.h"], "system/remove.cpp": ["system/look.h", "system/start.h"]})
    assert list(acting_includes(sources)) == []


def test_reading_code_may_not_include_acting_code_by_whatever_way(tmp_path: Path) -> None:
    sources = plant(
        tmp_path,
        {
            "system/look.cpp": ["system/look.h", "system/remove.h"],
            "system/look.h": ["system/shared.h"],
            "system/shared.h": ["system/start.h"],
        },
    )
    assert list(acting_includes(sources)) == [
        "src/system/look.cpp: system/remove.h belongs to code that changes a machine",
        "src/system/shared.h: system/start.h belongs to code that changes a machine",
    ]


def test_includes_that_point_up_and_loops_are_found(tmp_path: Path) -> None:
    sources = plant(
        tmp_path, {"system/look.cpp": ["ui/window.h"], "system/a.h": ["system/b.h"], "system/b.h": ["system/a.h"]}
    )
    assert [line.split(": ")[1] for line in wrong_includes(sources)] == ["ui/window.h is not below system"]
    assert list(loops(sources)) == ["a loop: system/a.h -> system/b.h -> system/a.h"]


def test_the_sources_are_in_order() -> None:
    sources = Path(__file__).resolve().parents[2] / "src"
    assert [*wrong_includes(sources), *loops(sources), *acting_includes(sources)] == []
