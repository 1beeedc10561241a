"""The page of `quillon --check` on good, bare and hanging sessions."""

import contextlib
import json
import os
import pathlib
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile

LONGEST = 60  # seconds; a peer that hangs would hold up its callers for longer
PARTS = ["Store", "Status item", "Hot keys", "Service", "Idle time", "Network", "Keyring"]
EMAIL, PASSWORD = "ann@example.com", "correct horse"


def check(program, **environment):
    """What each part was said to be, with "ok" or "!!" before it, and the whole page."""
    values = {**os.environ, **environment}
    ended = subprocess.run([program, "--check"], env={k: v for k, v in values.items() if v is not None},
                           capture_output=True, text=True, timeout=LONGEST, check=False)
    lines = ended.stdout.splitlines()
    assert lines[0].startswith("Quillon "), ended
    found = {line[3:15].strip(): line[:3] + line[16:] for line in lines[1:]}
    assert ended.returncode == int(any(line.startswith("!!") for line in lines)), ended
    assert EMAIL not in ended.stdout and PASSWORD not in ended.stdout
    return found


def check_while_it_runs(program):
    with (subprocess.Popen([program, "--local"]) as running,
          subprocess.Popen([program, "status", "--follow"], stdout=subprocess.PIPE, text=True) as follower):
        next(line for line in follower.stdout if "Design" in line)
        found = check(program)
        follower.terminate()
        running.terminate()
    return found


def dbus(name, path, method, *arguments, address=None):
    at = ["--address", address] if address else ["--session"]
    return subprocess.run(["gdbus", "call", *at, "--dest", name, "--object-path", path, "--method", method, *arguments],
                          check=True, stdout=subprocess.PIPE, text=True).stdout


def stop(name, address):
    """Ends what has this name on the bus."""
    answer = dbus("org.freedesktop.DBus", "/", "org.freedesktop.DBus.GetConnectionUnixProcessID", name, address=address)
    os.kill(int(answer.strip("(,)\n").split()[-1]), signal.SIGTERM)


def files():
    """Every file of this session's person, with its content."""
    home = pathlib.Path(os.environ["HOME"])
    return {path: path.read_bytes() for path in home.rglob("*") if path.is_file() and "keyrings" not in path.parts}


@contextlib.contextmanager
def hanging(name, address):
    """A process that has the name on a bus and never answers."""
    with subprocess.Popen([sys.executable, "-m", "dbusmock", name, "/", name],
                          env=dict(os.environ, DBUS_SESSION_BUS_ADDRESS=address)) as process:
        subprocess.run(["gdbus", "wait", "--address", address, "--timeout", str(LONGEST), name], check=True)
        process.send_signal(signal.SIGSTOP)
        try:
            yield
        finally:
            process.kill()  # a stopped one would be waited for


def main(program):
    config = pathlib.Path(os.environ["XDG_CONFIG_HOME"]) / "Quillon"
    config.mkdir(parents=True)
    (config / "Info.json").write_text(json.dumps({"QuillonReachabilityHost": "localhost"}))

    # A good session in which nobody is signed in.
    found = check(program)
    assert list(found) == PARTS, found
    assert {part for part, text in found.items() if not text.startswith("ok")} == {"Service"}, found
    assert found["Status item"] == "ok Quillon is not running; it would be a floating strip", found
    assert "sign in" in found["Service"] and found["Hot keys"].endswith(", from the X server"), found

    # A desktop that draws items.
    watcher = "org.kde.StatusNotifierWatcher"
    with subprocess.Popen([sys.executable, "-m", "dbusmock", watcher, "/StatusNotifierWatcher", watcher]) as desktop:
        subprocess.run(["gdbus", "wait", "--session", "--timeout", str(LONGEST), watcher], check=True)
        dbus(watcher, "/StatusNotifierWatcher", "org.freedesktop.DBus.Mock.AddProperty", watcher,
             "IsStatusNotifierHostRegistered", "<true>")
        found = check(program)
        assert found["Status item"].endswith("it would be a status notifier item, drawn by the desktop"), found
        desktop.terminate()

    # The same with an account, once without and once with its password.
    (config / "Quillon.conf").write_text(f"[General]\nQuillonUrl=acme\nEmail={EMAIL}\n")
    found = check(program)
    assert found["Service"] == "ok https://acme.quillon.example" and "no password" in found["Keyring"], found
    subprocess.run(["secret-tool", "store", "--label=test", "service", "com.wrenfold.quillon", "account", EMAIL],
                   input=PASSWORD.encode(), check=True)
    before = files()
    found = check(program)
    assert all(text.startswith("ok") for text in found.values()), found
    assert files() == before, "something was recorded"

    # Without a bus, without a display, with a store that is none.
    found = check(program, DBUS_SESSION_BUS_ADDRESS=None)
    assert found["Keyring"].startswith("!! there is none") and found["Idle time"].startswith("ok"), found
    found = check(program, DISPLAY=None, QT_QPA_PLATFORM=None)
    assert found["Status item"].startswith("!! there is no display") and found["Keyring"].startswith("ok"), found
    assert found["Hot keys"].startswith("!! not available") and found["Idle time"].startswith("!!"), found
    with tempfile.TemporaryDirectory() as data:
        folder = pathlib.Path(data) / "Quillon"
        folder.write_text("a file")
        assert check(program, XDG_DATA_HOME=data)["Store"].startswith("!! cannot be created")
        folder.unlink()
        folder.mkdir()
        store = folder / "QuillonX.sqlite"
        store.write_text("hours and hours and hours")
        assert check(program, XDG_DATA_HOME=data)["Store"].startswith("!! is not a database")
        store.unlink()
        with contextlib.closing(sqlite3.connect(store)) as newer:
            newer.executescript("CREATE TABLE Company (pk INTEGER PRIMARY KEY); PRAGMA user_version=999")
        before = store.read_bytes()
        assert "made by a newer version" in check(program, XDG_DATA_HOME=data)["Store"]
        assert store.read_bytes() == before

    # A keyring on its first day. Peers that hang: a keyring, then the program itself as well, then the bus.
    with tempfile.TemporaryDirectory() as folder:
        server = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--nopidfile",
                                   f"--address=unix:path={folder}/bus", "--print-address=1"], stdout=subprocess.PIPE,
                                  env=dict(os.environ, XDG_DATA_HOME=folder, XDG_RUNTIME_DIR=folder))
        server.stdout.readline()
        address = f"unix:path={folder}/bus"
        # The service that this one starts is new, and would have to ask before it keeps anything.
        assert check(program, DBUS_SESSION_BUS_ADDRESS=address)["Keyring"].startswith("!! has no default keyring")
        stop("org.freedesktop.secrets", address)
        with hanging("org.freedesktop.secrets", address):
            found = check(program, DBUS_SESSION_BUS_ADDRESS=address)
            assert found["Keyring"].startswith("!! does not answer"), found
            with hanging("com.wrenfold.quillon", address):
                found = check(program, DBUS_SESSION_BUS_ADDRESS=address)
                assert found["Status item"].startswith("!! the running program does not answer"), found
                assert found["Keyring"].startswith("!!"), found
        server.terminate()
        server.wait(LONGEST)

        with socket.socket(socket.AF_UNIX) as silent:
            silent.bind(f"{folder}/silent")
            silent.listen()
            found = check(program, DBUS_SESSION_BUS_ADDRESS=f"unix:path={folder}/silent")
            assert found["Store"].startswith("ok") and found["Status item"].startswith("!! no answer"), found

    # The program that runs tells what it alone knows.
    (config / "Quillon.conf").unlink()
    found = check_while_it_runs(program)
    assert all(text.startswith("ok") for text in found.values()), found
    assert "not running" not in found["Status item"] and ".localhost:" in found["Service"], found
    assert found["Store"].endswith(" KB"), found
    store = pathlib.Path(os.environ["XDG_DATA_HOME"]) / "Quillon" / "QuillonX.sqlite"
    store.write_bytes(store.read_bytes()[:4096] + b"!" * 65536)
    assert check_while_it_runs(program)["Store"].startswith("!! is in memory for this run: ")


if __name__ == "__main__":
    main(sys.argv[1])
