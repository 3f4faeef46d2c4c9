"""NumPy, which is optional."""

from typing import Any


def numpy_module() -> Any:
    """NumPy. ImportError explains what needs it."""
    try:
        import numpy
    except ImportError:
        raise ImportError("arrays need NumPy, which is not installed; bytes do not") from None
    return numpy
