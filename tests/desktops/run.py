"""Tours of real desktops without a screen. For scripts/desktops, which runs it.

  run.py tour NAME PICTURES   starts the desktop and plays its tour; the exit status says whether all was well
  run.py hold NAME PICTURES   starts the desktop and obeys standard input, lines of Python: `desktop` is what a tour has
"""

import code
import importlib
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / folder) for folder in ("tests/desktops", "tests/support", "tools/desktops")]

import outside

outside.LONGEST = 60  # a desktop drawn by the processor, perhaps on a busy machine


def main(what, name, pictures):
    # RECIPE-RELEASE[-VARIANT]: the class Recipe of the module with that name.
    module, release, *variant = name.split("-", 2)
    desktop = importlib.import_module(module).Recipe(int(release), "".join(variant), pathlib.Path(pictures))
    desktop.start()
    if what == "hold":
        code.InteractiveConsole({"desktop": desktop}).interact()
        return 0
    desktop.tour()
    return desktop.report()


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
