"""How the tests put a library in front of the C library of a program."""
import os


def preload(library):
    """The environment that does it. The loader splits LD_PRELOAD at blanks, so it gets the bare name."""
    folders = [str(library.resolve().parent), os.environ.get("LD_LIBRARY_PATH", "")]
    return {"LD_PRELOAD": library.name, "LD_LIBRARY_PATH": ":".join(filter(None, folders))}
