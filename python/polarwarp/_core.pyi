from numpy.typing import NDArray
from typing import Any

def version() -> str: ...
def is_direct(array: NDArray[Any]) -> bool: ...
def render(
    image: NDArray[Any],
    out: NDArray[Any],
    *,
    wraps: bool,
    sampling: int,
    alpha: int,
    threads: int,
    source: tuple[int, int, int, int],
    whole: tuple[int, int, int, int],
    circle: tuple[float, float, float, float, float, float, float],
    clockwise: bool,
    scale: int,
    cyclic: bool,
    ground_bottom: bool,
    amount: float,
    background: tuple[float, float, float],
) -> None: ...
