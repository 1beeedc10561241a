"""Whether programs are hardened: what the compiler and the linker left in them says so.

hardened.py PROGRAM…: looks at programs.
hardened.py --build SOURCES: builds the smallest program of the tree as a release and as Debian's tools build it.
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

FLAGS = ["-fstack-protector-strong", "-fstack-clash-protection", "-fcf-protection", "-mbranch-protection=standard"]


def said(*command, **how):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False,
                          **{**how, "env": {**os.environ, "LC_ALL": "C", **how.get("env", {})}})
    assert done.returncode == 0, f"{command}: {done.returncode}\n{done.stdout}"
    return done.stdout


def look(program, has_buffers=True):
    dynamic, segments = said("readelf", "-dW", program), said("readelf", "-lW", program)
    symbols = said("readelf", "--dyn-syms", "-W", program)
    assert re.search(r"FLAGS_1.*\bNOW\b.*\bPIE\b", dynamic), f"{program} is bound late or no PIE\n{dynamic}"
    assert "GNU_RELRO" in segments and re.search(r"GNU_STACK .* RW ", segments), f"{program}: {segments}"
    if has_buffers:
        assert "__stack_chk_fail" in symbols, f"{program} has no stack protector"
        assert re.search(r"__\w+_chk\b", symbols), f"{program}: no FORTIFY"
    if "X86-64" in said("readelf", "-hW", program):
        code = said("objdump", "-d", "--no-show-raw-insn", program)
        assert code.count("endbr64") > (100 if has_buffers else 2), f"{program} has no control-flow protection"
        if has_buffers:
            assert re.search(r"sub +\$0x1000,%rsp\n.*or[ql] +\$0x0,", code), f"{program}: no probes of the stack"


def build(sources, folder, environment, *arguments):
    said("cmake", "-G", "Ninja", "-S", sources, "-B", folder, "-DBUILD_TESTING=OFF", "-DQUILLON_WERROR=ON", *arguments,
         env=environment)
    # What is defined twice is warned of, and warnings are errors.
    said("cmake", "--build", folder, "--target", "relaunch_quillon")
    look(f"{folder}/relaunch_quillon", has_buffers=False)
    commands = [entry["command"].split() for entry in json.loads(pathlib.Path(folder, "compile_commands.json").read_text())
                if "_autogen" not in entry["file"]]
    assert len(commands) > 100, commands
    found = {(*[flag for flag in FLAGS if flag in words], [word for word in words if "_FORTIFY_SOURCE" in word][-1])
             for words in commands}
    assert len(found) == 1, found
    return found.pop()


def main(*arguments):
    if arguments[0] != "--build":
        for program in arguments:
            look(program)
        return
    with tempfile.TemporaryDirectory() as folder:
        release = build(arguments[1], f"{folder}/release", {}, "-DCMAKE_BUILD_TYPE=Release")
        assert "-fstack-protector-strong" in release and re.fullmatch("-D_FORTIFY_SOURCE=[23]", release[-1]), release
        if not shutil.which("dpkg-buildflags"):
            return
        flags = said("dpkg-buildflags", env={"DEB_BUILD_MAINT_OPTIONS": "hardening=+all"})
        environment = dict(line.split("=", 1) for line in flags.splitlines())
        # As debhelper gives them to CMake, which knows no CPPFLAGS.
        for name in ("CFLAGS", "CXXFLAGS"):
            environment[name] += " " + environment["CPPFLAGS"]
        assert build(arguments[1], f"{folder}/package", environment, "-DCMAKE_BUILD_TYPE=None") == release


if __name__ == "__main__":
    main(*sys.argv[1:])
