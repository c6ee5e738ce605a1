"""Preloads a library into a program, so that its functions replace those of the C library."""
import os


def preload(library):
    """Returns the environment that preloads `library`, by its bare name, because the loader splits LD_PRELOAD at blanks."""
    folders = [str(library.resolve().parent), os.environ.get("LD_LIBRARY_PATH", "")]
    return {"LD_PRELOAD": library.name, "LD_LIBRARY_PATH": ":".join(filter(None, folders))}
