"""The exceptions of the package. Where the system has a reason, the exception is an OSError instead."""


class Error(Exception):
    """What all exceptions of this package have in common."""


class FormatError(Error, ValueError):
    """The file is not an AVI file, is damaged where it matters, or holds what an operation cannot handle."""


class StreamError(Error, LookupError):
    """The file has no such stream, or no index of it."""


class ClosedError(Error, ValueError):
    """The file is closed."""


class BusyError(Error):
    """Another thread is opening or closing the same file: try again."""


class RefusedError(Error):
    """The writer did not take a frame or a block of sound: its queue has no room."""


class IncompleteError(Error):
    """The file was closed and can be read, but lacks something that was submitted."""
