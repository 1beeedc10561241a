"""What an installation has besides the programs, judged by the tools that desktops and shells read it with.

installed_test.py PREFIX VERSION [--zsh FOLDER]: looks at the installation in PREFIX.
installed_test.py --build FOLDER VERSION: installs a build into a folder of its own and looks at that.
"""

import configparser
import os
import pathlib
import pty
import re
import select
import subprocess
import sys
import tempfile
import time
import xml.etree.ElementTree as xml

NAME = "com.wrenfold.quillon"
LONGEST = 60  # seconds; nothing waits longer than it must
OPTION = re.compile(r"(?<![\w-])--[a-z]+(?:-[a-z]+)*")


def run(*command):
    """What the command says. It must end well and complain about nothing."""
    done = subprocess.run(command, capture_output=True, text=True, check=False,
                          env={**os.environ, "LC_ALL": "C.UTF-8", "MANWIDTH": "200"})
    assert done.returncode == 0 and not done.stderr, f"{command}: {done.returncode}\n{done.stdout}{done.stderr}"
    return done.stdout


class Shell:
    """An interactive shell on a terminal of its own."""

    def __init__(self, *command):
        pid, self.terminal = pty.fork()
        if pid == 0:
            os.environ.update(TERM="xterm", LC_ALL="C.UTF-8", COLUMNS="300", LINES="100")
            os.execvp(command[0], command)
        self.pid = pid

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        os.close(self.terminal)
        os.waitpid(self.pid, 0)

    def say(self, text):
        os.write(self.terminal, text.encode())

    def until(self, *wanted):
        """Reads until the shell has shown all that is wanted, and returns what it showed."""
        shown = ""
        end = time.monotonic() + LONGEST
        while not all(word in shown for word in wanted):
            ready, _, _ = select.select([self.terminal], [], [], max(0, end - time.monotonic()))
            assert ready, f"not shown: {[word for word in wanted if word not in shown]}\n{shown}"
            shown += re.sub(r"\x1b\[[0-9;?]*[A-Za-z]", "", os.read(self.terminal, 4096).decode(errors="replace"))
        return shown


def completes(shell, line, *wanted):
    """Where the line is completed, all that is wanted is offered, or put in as the only thing there is."""
    shell.say(line + "\t")
    shell.until(*wanted)
    shell.say("\x15echo do''ne\n")  # Ctrl+U: the line goes
    shell.until("done\r\n")


def shells(prefix, zsh_folder):
    with tempfile.TemporaryDirectory() as folder:
        yield "bash", f"""
            PS1='$ '; bind 'set show-all-if-ambiguous on'; bind 'set completion-query-items 0'; bind 'set bell-style none'
            cd {folder}; for file in {prefix}/share/bash-completion/completions/*; do . $file; done""", "bash --norc --noprofile -i"
        yield "zsh", f"""
            PS1='$ '; LISTMAX=1000; fpath=({prefix}/{zsh_folder} $fpath); autoload -Uz compinit; compinit -u -D; unsetopt beep
            cd {folder}""", "zsh -f -i"


def check_completions(prefix, zsh_folder, helps):
    for name, start, command in shells(prefix, zsh_folder):
        with Shell(*command.split()) as shell:
            shell.say("\n".join(line.strip() for line in start.splitlines()) + "\ntouch values.json; echo rea''dy\n")
            shell.until("ready\r\n")
            for program, text in helps.items():
                completes(shell, f"{program} --", *OPTION.findall(text.partition("Commands")[0]))
                for command, options in commands(text).items():
                    if options:
                        completes(shell, f"{program} {command} --", *options)
            completes(shell, "quillon ", *commands(helps["quillon"]))
            completes(shell, "quillon pref", "preferences")
            completes(shell, "quillon --info val", "values.json")
            if "quillon-service" in helps:
                completes(shell, "quillon-service --data=val", "values.json")
            print(f"ok: completion in {name}")
    check_fish(prefix, helps["quillon"])


def check_fish(prefix, text):
    def offered(line):
        file = prefix / "share/fish/vendor_completions.d/quillon.fish"
        return run("fish", "--no-config", "--command", f"set -x PATH {prefix}/bin $PATH; source {file}; complete --do-complete '{line}'")

    for line, options in {"": set(OPTION.findall(text.partition("Commands")[0])), **commands(text)}.items():
        missing = {option for option in options if option not in offered(f"quillon {line} --")}
        assert not missing, f"fish does not complete {line} {missing}"
    assert all(command in offered("quillon ") for command in commands(text)), offered("quillon ")
    print("ok: completion in fish")


def commands(text):
    """The options of each command."""
    about = re.split(r"^  ([a-z]+) ", text.partition("Commands")[2].partition("Examples:")[0], flags=re.MULTILINE)
    return {name: set(OPTION.findall(says.partition("\n\n")[0])) for name, says in zip(about[1::2], about[2::2])}


def check_manual(prefix, version, helps):
    for program, text in helps.items():
        page = next(path for path in (prefix / "share/man/man1").iterdir() if path.name.split(".")[0] == program)
        run("man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", page)
        shown = run("man", "-l", "-P", "cat", page)
        assert f"Quillon {version}" in shown, f"{page}: another version"
        for word in {*OPTION.findall(text), *commands(text)}:
            assert re.search(rf"^ +(?:.*, )?{word}\b", shown, re.MULTILINE), f"{page}: nothing about {word}"
        unknown = set(OPTION.findall(shown)) - set(OPTION.findall("\n".join(helps.values())))
        assert not unknown, f"{page}: there is no {unknown}"
    print("ok: manual pages")


def check_desktop(prefix, version, helps):
    share = prefix / "share"
    entry_file = share / f"applications/{NAME}.desktop"
    run("desktop-file-validate", entry_file)
    entry = configparser.ConfigParser(interpolation=None)
    entry.optionxform = str
    entry.read(entry_file)
    main = entry["Desktop Entry"]
    for action in filter(None, main["Actions"].split(";")):
        program, command = entry[f"Desktop Action {action}"]["Exec"].split()
        assert program == main["Exec"] and command in commands(helps["quillon"]), f"{action}: no such command"
    # Return would open the program instead of carrying out what it offers in GNOME's search.
    assert "stop" not in (main["Comment"] + main["Keywords"]).lower(), "who looks for “stop” finds the program first"
    activation = (share / f"dbus-1/services/{NAME}.service").read_text()
    assert f"Name={NAME}\n" in activation and "/bin/quillon\n" in activation, activation

    metainfo = share / f"metainfo/{NAME}.metainfo.xml"
    print(run("appstreamcli", "validate", "--no-net", "--no-color", metainfo).strip())
    releases = [release.get("version") for release in xml.parse(metainfo).iter("release")]
    assert releases[0] == version, f"AppStream knows {releases}"

    icons = share / "icons/hicolor"
    for place in ("scalable/apps/{}.svg", "16x16/apps/{}.svg", "symbolic/apps/{}-symbolic.svg"):
        drawing = xml.parse(icons / place.format(main["Icon"])).getroot()
        assert drawing.get("width") == drawing.get("height"), place
        if "symbolic" in place:  # recoloured as a whole
            assert len({part.get("fill") for part in drawing.iter() if part.get("fill")}) == 1, place
            assert not any(part.get("stroke") or part.get("style") for part in drawing.iter()), place
    print("ok: desktop entry, AppStream metadata, icons")


def check_help(prefix):
    """Every page of the manual is reached from the first, and nothing that it links to or shows is missing."""
    manual = prefix / "share/quillon/manual"
    reached, left = set(), ["using.html"]
    while left:
        page = left.pop()
        if page in reached:
            continue
        reached.add(page)
        for link in re.findall(r'(?:href|src)="([^"]+)"', (manual / page).read_text()):
            name, _, place = link.partition("#")
            target = manual / (name or page)
            assert target.is_file(), f"{page}: no {link}"
            assert not place or f'id="{place}"' in target.read_text(), f"{page}: no {link}"
            left += [name] if name.endswith(".html") else []
    assert reached == {path.name for path in manual.glob("*.html")}, reached
    print("ok: the manual")


def check(prefix, version, zsh_folder="share/zsh/site-functions"):
    for helper in ("quillon-keyring", "relaunch_quillon"):
        assert (prefix / "libexec/quillon" / helper).exists() and not (prefix / "bin" / helper).exists()
    helps = {}
    for program in ("quillon", "quillon-service"):
        if (prefix / "bin" / program).exists():
            assert run(prefix / "bin" / program, "--version") == f"{program} {version}\n"
            helps[program] = run(prefix / "bin" / program, "--help")
    check_desktop(prefix, version, helps)
    check_manual(prefix, version, helps)
    if "quillon" in helps:
        check_help(prefix)
    check_completions(prefix, zsh_folder, helps)


def check_build(build, version):
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run(["cmake", "--install", build, "--prefix", folder], check=True, stdout=subprocess.DEVNULL)
        check(pathlib.Path(folder), version)
    # Written by hand, it would soon be another one.
    project = pathlib.Path(__file__).resolve().parents[2]
    for page in [*project.glob("*.md"), *project.glob("docs/*.md")]:
        named = re.search(r"(?i)quillon(?:-service)? v?\d+\.\d+", page.read_text())
        assert not named, f"{page.name}: {named}"


if __name__ == "__main__":
    if sys.argv[1] == "--build":
        check_build(sys.argv[2], sys.argv[3])
    else:
        check(pathlib.Path(sys.argv[1]).resolve(), sys.argv[2], *sys.argv[4:])
