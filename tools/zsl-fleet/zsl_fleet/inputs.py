"""The inputs a fleet run reads: local files and folders, expanded as
`zsl-replay explain` expands them (every file under a folder, hidden names
left out, in the order of their paths' bytes), and URLs that fsspec reads,
a folder URL expanded by the same rules."""

import os
import re
from dataclasses import dataclass

# scheme://... : fsspec's; a plain path otherwise (a Windows drive letter is not one here).
_URL = re.compile(r"^[A-Za-z][A-Za-z0-9+.-]*://")


@dataclass(frozen=True)
class Input:
    name: str        # as explain names it: the path as given or found, or the URL
    url: bool        # read by the worker through fsspec and piped in under `name`
    in_folder: bool  # found under a folder: one without the plug-in's lines is passed over


def _hidden(name):
    return len(name) > 1 and name.startswith(".")


def _local_folder(folder):
    """Every file under `folder`, as explain finds them; a hidden folder is not entered."""
    found, problems = [], []

    def failed(error):
        problems.append(f"cannot read the folder {folder}: {error.strerror}")

    for top, dirs, files in os.walk(folder, onerror=failed):
        dirs[:] = [d for d in dirs if not _hidden(d)]
        for name in files:
            path = os.path.join(top, name)
            if not _hidden(name) and os.path.isfile(path):
                found.append(path)
    found.sort(key=os.fsencode)
    return found, problems[:1]


def _url_folder(url, fs, root):
    found = []
    for path in fs.find(root, withdirs=False):
        relative = path[len(root):].strip("/")
        if relative and not any(_hidden(part) for part in relative.split("/")):
            found.append(url.rstrip("/") + "/" + relative)
    found.sort(key=lambda name: name.encode("utf-8", "surrogateescape"))
    return found


def expand(given):
    """The inputs named by `given`, and a message for each that names nothing readable."""
    inputs, errors = [], []
    for name in given:
        if _URL.match(name):
            import fsspec  # only when a URL is given: a local run needs no more

            try:
                fs, root = fsspec.core.url_to_fs(name)
                folder = fs.isdir(root)
                found = _url_folder(name, fs, root) if folder else []
            except Exception as error:  # fsspec's backends raise their own kinds
                errors.append(f"cannot read {name}: {error}")
                continue
            if not folder:
                inputs.append(Input(name, True, False))
            elif not found:
                errors.append(f"{name}: a folder without a file")
            inputs += [Input(path, True, True) for path in found]
        elif name == "-":
            errors.append("standard input cannot be shared by a cluster's workers: give files, folders or URLs")
        elif os.path.isdir(name):
            found, problems = _local_folder(name)
            errors += problems
            if not found and not problems:
                errors.append(f"{name}: a folder without a file")
            inputs += [Input(path, False, True) for path in found]
        else:
            inputs.append(Input(name, False, False))
    return inputs, errors
