"""A module sees the headers of the modules that it may use, and of no others."""

import json
import pathlib
import shlex
import subprocess
import sys

MAY_USE = {
    "platform": set(),
    "store": set(),
    "localservice": set(),
    "settings": {"platform"},
    "model": {"store", "settings", "platform"},
    "service": {"model", "settings", "store", "platform"},
    "booking": {"service", "model", "settings", "store", "platform"},
    "skin": {"settings", "platform"},
    "preferences": {"service", "model", "skin", "settings", "store", "platform"},
    "editing": {"service", "model", "skin", "settings", "store", "platform"},
    "timesheet": {"editing", "service", "model", "skin", "settings", "store", "platform"},
    "app": {"preferences", "timesheet", "editing", "booking", "service", "model", "skin", "settings", "store", "platform"},
}


def main(commands_file, source):
    source = pathlib.Path(source)
    commands = {}
    for entry in json.loads(pathlib.Path(commands_file).read_text()):
        folder = pathlib.Path(entry["file"]).parent
        module = str(folder.relative_to(source)).replace("/", "_") if folder.is_relative_to(source) else ""
        if f"quillon_{module}.dir" in entry["command"]:
            commands.setdefault(module, entry)
    assert set(commands) == set(MAY_USE), f"modules: {sorted(commands)}"

    wrong = []
    for module, entry in commands.items():
        words = shlex.split(entry["command"])
        compiler = words[1] if words[0].endswith("ccache") else words[0]
        flags = [word for word in words if word.startswith("-I")]
        for other in MAY_USE:
            folder = other.replace("_", "/")
            header = sorted((source / folder).glob("*.h"))[0].name
            found = subprocess.run(
                [compiler, *flags, "-xc++", "-M", "-MG", "-"],
                input=f'#if !__has_include("{folder}/{header}")\n#error\n#endif\n',
                text=True, capture_output=True, cwd=entry["directory"], check=False).returncode == 0
            if found and other != module and other not in MAY_USE[module]:
                wrong.append(f"{module} sees {other}/{header}")
            # Without this a question asked wrongly would pass for a wall.
            if not found and (other == module or (module == "app" and other in MAY_USE[module])):
                wrong.append(f"{module} does not see {other}/{header}")
    print("\n".join(wrong) or f"{len(commands)} modules see what they may")
    return bool(wrong)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
