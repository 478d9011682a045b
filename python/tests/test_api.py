"""The module documents itself: docstrings, type stubs that match, and the example script."""

import ast
import inspect
import os
import pathlib
import subprocess
import sys

import tkstream63

PACKAGE = pathlib.Path(tkstream63.__file__).parent
EXAMPLE = pathlib.Path(__file__).parents[2] / "examples" / "python" / "plot_streamlines.py"


PROTOCOL = ("__len__", "__getitem__", "__iter__", "__delitem__")


def public_names(cls):
    return {name for name in vars(cls) if not name.startswith("_") or name in PROTOCOL}


def test_stubs_and_docstrings_cover_every_name():
    stub = ast.parse((PACKAGE / "__init__.pyi").read_text())
    def names(body):
        return {item.target.id if isinstance(item, ast.AnnAssign) else item.name
                for item in body if isinstance(item, (ast.AnnAssign, ast.FunctionDef))}
    stubbed = {node.name: names(node.body) for node in stub.body if isinstance(node, ast.ClassDef)}
    for cls in (tkstream63.Store, tkstream63.Dataset, tkstream63.WAFSet, tkstream63.StoreFile):
        assert public_names(cls) <= stubbed[cls.__name__], cls.__name__
        for name in public_names(cls):
            assert inspect.getdoc(getattr(cls, name)), f"{cls.__name__}.{name} has no docstring"
    for name in ("load", "open"):
        assert inspect.getdoc(getattr(tkstream63, name))
    assert "Zero-copy" in tkstream63.__doc__


def test_example_script_draws_the_example_store(example_store, tmp_path):
    picture = tmp_path / "streamlines.png"
    env = dict(os.environ, MPLBACKEND="Agg")
    done = subprocess.run([sys.executable, str(EXAMPLE), str(example_store), str(picture)],
                          capture_output=True, text=True, env=env)
    assert done.returncode == 0, done.stderr
    assert picture.read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"
