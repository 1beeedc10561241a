"""Signs in as a person does, and looks for the password wherever another program could find it."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile

import pyatspi
from gi.repository import GLib

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))
from outside import Program, find, press, until

WRONG = "Wr0ng-Pa55word"
UNVERIFIED = ("Your credentials could not be verified. "
              "Please check to make sure they are correct and try again.")

heard = []


def hear():
    while GLib.MainContext.default().iteration(False):
        pass
    return heard


def type_keys(*keys):
    """Texts are typed, and names in a list are keys: "local", ["Tab"]."""
    for key in keys:
        command = ["key", *key] if isinstance(key, list) else ["type", "--delay", "2", key]
        subprocess.run(["xdotool", *command], check=True)


def everything_told(root):
    """Every text in the tree below `root`."""
    told = [root.name, root.description]
    try:
        told.append(root.queryText().getText(0, -1))
    except NotImplementedError:
        pass
    for child in root:
        if child:
            told += everything_told(child)
    return told


def main(quillon, service):
    with tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        server = subprocess.Popen([service, "--port", "0", "--data", str(folder / "service.sqlite")],
                                  stdout=subprocess.PIPE, text=True)
        try:
            said = ""
            while not (re.search(r"password +\S+", said) and re.search("http", said)):
                said += server.stdout.readline()
            port = re.search(r"http\S*:(\d+)", said)[1]
            email = re.search(r"email +(\S+)", said)[1]
            password = re.search(r"password +(\S+)", said)[1]
            info = folder / "info.json"
            info.write_text(f'{{"QuillonLocalDebug": true, "QuillonDevelopmentDomain": ".localhost:{port}"}}')
            with open(folder / "log", "w+", encoding="utf-8") as log:
                sign_in(Program("Quillon", quillon, "--info", str(info), stdout=log, stderr=log), email, password)
                log.seek(0)
                said = log.read()
            assert WRONG not in said and password not in said, said
        finally:
            server.terminate()
            server.wait()
    for path in pathlib.Path(os.environ["HOME"]).rglob("*"):
        if path.is_file():
            content = path.read_bytes()
            assert WRONG.encode() not in content and password.encode() not in content, path
    kept = subprocess.run(["secret-tool", "lookup", "service", "com.wrenfold.quillon", "account", email],
                          stdout=subprocess.PIPE, text=True, check=True).stdout
    assert kept == password, kept
    settings = (pathlib.Path(os.environ["XDG_CONFIG_HOME"]) / "Quillon/Quillon.conf").read_text()
    assert f"Email={email}" in settings and "QuillonUrl=local" in settings, settings


def sign_in(program, email, password):
    for kind in ("object:text-changed", "object:property-change"):
        pyatspi.Registry.registerEventListener(lambda event: heard.append(str(event.any_data)), kind)

    def secret(root):
        # Sign by sign is told, too.
        for told in [*everything_told(root), "".join(hear()), "".join(reversed(heard))]:
            assert not told or (WRONG not in told and password not in told), told

    with program as root:
        window = find(root, "dialog", "Quillon Preferences")
        field = find(window, "password text", "Password:")
        until("the field that is typed into", lambda: window.getState().contains(pyatspi.STATE_ACTIVE))
        type_keys("local", ["Tab"], email, ["Tab"], WRONG)
        until("all dots", lambda: field.queryText().characterCount == len(WRONG))
        secret(root)

        find(window, "check box", "Show Password").queryAction().doAction(0)
        type_keys(["BackSpace"], WRONG[-1])
        until("the last sign again", lambda: field.queryText().characterCount == len(WRONG))
        assert field.queryText().getText(0, -1) == "•" * len(WRONG), field.queryText().getText(0, -1)
        secret(root)

        type_keys(["Return"])
        sheet = find(window, "dialog", UNVERIFIED)
        assert "sensitive" not in {pyatspi.stateToString(s) for s in field.getState().getStates()}
        secret(root)
        press(find(sheet, "push button", "OK"))
        until("the window again", lambda: field.getState().contains(pyatspi.STATE_SENSITIVE))

        type_keys(["ctrl+a"], password)
        until("all dots", lambda: field.queryText().characterCount == len(password))
        secret(root)
        for file in ("cmdline", "environ"):
            content = pathlib.Path(f"/proc/{program.process.pid}/{file}").read_bytes()
            assert password.encode() not in content, file
        type_keys(["Return"])
        until("no window", lambda: not window.getState().contains(pyatspi.STATE_SHOWING))
        secret(root)


if __name__ == "__main__":
    main(*sys.argv[1:])
