"""What is left of a password where others may look: in memory that was freed, in core dumps, in files."""

import base64
import json
import os
import pathlib
import re
import resource
import signal
import stat
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))
from outside import LONGEST, account_of, until

# Of the password in UTF-8 and in UTF-16, and of the header that is sent. With the sanitizers what was freed stays for
# a while as it was.
MOST_OF_CLIENT = (0, 2, 3)
MOST_OF_SERVICE = (0, 0, 1)
FOREVER = (resource.RLIM_INFINITY, resource.RLIM_INFINITY)


def in_memory(pid, *secrets):
    """How often each stands in the memory that the process may write."""
    found = [0] * len(secrets)
    with open(f"/proc/{pid}/maps", encoding="utf-8") as maps, open(f"/proc/{pid}/mem", "rb", 0) as memory:
        for line in maps:
            span, rights = line.split()[:2]
            start, end = (int(part, 16) for part in span.split("-"))
            if not rights.startswith("rw") or end - start > 1 << 32:  # the sanitizers' own
                continue
            memory.seek(start)
            try:
                content = memory.read(end - start)
            except OSError:
                continue
            found = [count + content.count(secret) for count, secret in zip(found, secrets)]
    return found


def started(folder, *command):
    """A program that may leave core dumps as far as its surroundings are concerned."""
    # The sanitizers forbid core dumps by themselves.
    environment = dict(os.environ, ASAN_OPTIONS="disable_coredump=0:detect_leaks=0")
    return subprocess.Popen(command, cwd=folder, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            text=True, umask=0, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_CORE, FOREVER))


def crash(process, folder):
    """The core dump, if there is one."""
    process.send_signal(signal.SIGABRT)
    process.wait()
    return next(folder.glob("core*"), None)


def main(quillon, service):
    with tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        for name in ("client", "service", "control"):
            (folder / name).mkdir()
        server = started(folder / "service", service, "--port", "0", "--data", str(folder / "data/service.sqlite"))
        port, email, password = account_of(server)
        config = pathlib.Path(os.environ["XDG_CONFIG_HOME"]) / "Quillon"
        config.mkdir(parents=True)
        (config / "Quillon.conf").write_text(f"[General]\nQuillonUrl=local\nEmail={email}\n")
        (config / "Info.json").write_text(json.dumps({"QuillonLocalDebug": True,
                                                      "QuillonDevelopmentDomain": f".localhost:{port}"}))
        # From a run of long ago.
        config.chmod(0o777)
        for file in config.iterdir():
            file.chmod(0o666)
        subprocess.run(["secret-tool", "store", "--label=test", "service", "com.wrenfold.quillon", "account", email],
                       input=password.encode(), check=True)
        client = started(folder / "client", quillon)
        until("the hours", lambda: "Design" in subprocess.run([quillon, "status"], capture_output=True, text=True,
                                                              check=True).stdout)
        folders = [config, pathlib.Path(os.environ["XDG_DATA_HOME"]) / "Quillon", folder / "data"]
        for path in [*folders, *(file for each in folders for file in each.iterdir() if file.name != "Info.json")]:
            mode = stat.S_IMODE(path.stat().st_mode)
            assert mode == (0o700 if path.is_dir() else 0o600), f"{path}: {mode:o}"
        assert stat.S_IMODE((config / "Info.json").stat().st_mode) == 0o666, "the person's own file"

        # Looking that up took a process and libraries of its own, and neither stays.
        maps = pathlib.Path(f"/proc/{client.pid}/maps").read_text()
        assert "/libQt6Core" in maps and not re.search(r"/lib(secret|gio|gobject)-", maps), maps
        until("an end of the helper", lambda: not pathlib.Path(f"/proc/{client.pid}/task/{client.pid}/children").read_text())

        # What a program must remember, and what its libraries do not give back; it was sent more often than that.
        sent = base64.b64encode(f"{email}:{password}".encode())
        for process, most in [(client, MOST_OF_CLIENT), (server, MOST_OF_SERVICE)]:
            found = in_memory(process.pid, password.encode(), password.encode("utf-16-le"), sent)
            print(found)
            assert all(count <= limit for count, limit in zip(found, most)), found

        # A crash leaves nothing. Where a core dump is made all the same, it has no password in it.
        control = started(folder / "control", "sleep", str(LONGEST))
        leaves_one = crash(control, folder / "control")
        resource.prlimit(server.pid, resource.RLIMIT_CORE, FOREVER)
        core = crash(server, folder / "service")
        assert crash(client, folder / "client") is None
        if leaves_one:
            assert core.stat().st_size and password.encode() not in core.read_bytes()


if __name__ == "__main__":
    main(*sys.argv[1:])
