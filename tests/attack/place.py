"""Where the attacks are played: the package, installed in a mount namespace of its own, and who plays them."""
import ctypes
import os
import pathlib
import re
import shutil
import subprocess

PRODUCT = pathlib.Path("/opt/Quillstone")
VAR = pathlib.Path("/var/Quillstone/var")
RUN = PRODUCT / "var/run"
SETTINGS = PRODUCT / "etc/qsav.conf"
SCAN_SETTINGS = PRODUCT / "etc/vardo/vardo.conf"
QUARANTINE = VAR / "quarantine/vardo"
SIGNATURES = VAR / "lib/signatures"
LOGS = VAR / "log/vardo"
RECORDS = PRODUCT / "etc/vardo/.quarantined"
VARDOSCAN = PRODUCT / "usr/bin/vardoscan"
PREY = pathlib.Path("/srv")  # where files are to be scanned
LAYERS = pathlib.Path("/mnt")
MARKER = b"a text that stands for something harmful"  # found as Vardo.Marker
MEMBER, OTHER = 4001, 4002  # the first one is in the group
SHIM = LAYERS / "shim.so"
PACKAGE = LAYERS / "vardo.deb"


def mount(*words) -> None:
    subprocess.run(["mount", *map(str, words)], check=True)


def overlay(path: str) -> None:
    """Lets everything below `path` be changed for us alone."""
    upper, work = (LAYERS / kind / path.strip("/") for kind in ("upper", "work"))
    for directory in (upper, work):
        directory.mkdir(parents=True)
    mount("-t", "overlay", "none", "-o", f"lowerdir={path},upperdir={upper},workdir={work}", path)


def own_devices() -> None:
    """/dev with room for memory and a log's socket of our own."""
    new = LAYERS / "dev"
    new.mkdir()
    for name in ("null", "zero", "full", "random", "urandom", "tty"):
        subprocess.run(["cp", "-a", f"/dev/{name}", new], check=True)
    for link, target in (("fd", "/proc/self/fd"), ("ptmx", "pts/ptmx")):
        (new / link).symlink_to(target)
    for directory in ("shm", "pts"):
        (new / directory).mkdir()
    mount("--rbind", new, "/dev")
    mount("-t", "devpts", "-o", "newinstance,ptmxmode=0666", "none", "/dev/pts")


def install(package: pathlib.Path) -> None:
    """Once for all attacks."""
    mount("-t", "tmpfs", "-o", "mode=755", "none", LAYERS)
    shutil.copy(package, PACKAGE)
    subprocess.run(["cc", "-shared", "-fPIC", "-o", SHIM, pathlib.Path(__file__).with_name("shim.c")], check=True)
    for path in ("/etc", "/opt", "/usr", "/var"):
        overlay(path)
    own_devices()
    for user, name in ((MEMBER, "member"), (OTHER, "other")):
        subprocess.run(["useradd", "--no-create-home", f"--uid={user}", name], check=True)
    unpack()
    subprocess.run(["adduser", "--quiet", "member", "qsconf"], check=True)


def unpack(**variables: str) -> str:
    """What the installation says, with these variables in its environment."""
    done = subprocess.run(["dpkg", "--force-all", "-i", PACKAGE], check=False, capture_output=True, text=True,
                          env={**os.environ, "DEBIAN_FRONTEND": "noninteractive", **variables})
    assert done.returncode == 0, done.stderr
    return done.stdout


def refresh() -> None:
    """For one attack: what is written now is gone after it."""
    for path in (PRODUCT, VAR.parent, pathlib.Path("/etc/cron.d"), pathlib.Path("/etc/init.d")):
        copy = LAYERS / ("now" + str(path).replace("/", "-"))
        copy.mkdir(exist_ok=True)
        mount("-t", "tmpfs", "-o", "mode=755", "none", copy)
        subprocess.run(["cp", "-aT", path, copy], check=True)
        mount("--bind", copy, path)
    for path in ("/run", "/home", "/tmp", PREY):
        mount("-t", "tmpfs", "-o", "mode=755,strictatime", "none", path)
    mount("-t", "tmpfs", "-o", "size=64m,mode=1777", "none", "/dev/shm")
    os.chmod("/tmp", 0o1777)
    home = pathlib.Path("/home/member")
    home.mkdir()
    os.chown(home, MEMBER, MEMBER)
    (SIGNATURES / "marker.ndb").write_bytes(b"Vardo.Marker:0:*:" + MARKER.hex().encode() + b"\n")


def by(user: int, *command) -> list:
    """The command as that user runs it."""
    return ["setpriv", f"--reuid={user}", f"--regid={user}", "--init-groups", *command]


def python_by(user: int, text: str, *arguments) -> subprocess.Popen:
    return subprocess.Popen(by(user, "python3", "-c", text, *map(str, arguments)), stdout=subprocess.PIPE, text=True)


def sh_by(user: int, text: str) -> None:
    subprocess.run(by(user, "sh", "-c", text), check=False)


def scan(*arguments, seconds: float = 60, shim: str = "", shell: str = "") -> subprocess.CompletedProcess:
    """Root's scan; `shim` names what the library before all others does, `shell` stands behind the command."""
    words = [VARDOSCAN, "--no-progress", *arguments]
    if shell:
        words = ["sh", "-c", f'exec "$@" {shell}', "sh", *words]
    return subprocess.run(words, check=False, capture_output=True, text=True, timeout=seconds, env=preloading(shim))


def start(*arguments, shim: str = "") -> subprocess.Popen:
    """The same, without waiting for its end."""
    return subprocess.Popen([VARDOSCAN, "--no-progress", *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                            text=True, env=preloading(shim))


def preloading(shim: str) -> dict[str, str]:
    """The environment of a program behind the library."""
    return {**os.environ, "LD_PRELOAD": str(SHIM), shim: "1"} if shim else dict(os.environ)


def configure(key: str, value: str) -> None:
    """In the machine's settings of scans."""
    text, count = re.subn(rf"\b{key} = .*", f'{key} = "{value}"', SCAN_SETTINGS.read_text())
    assert count == 1, key
    SCAN_SETTINGS.write_text(text)


def quarantine(*arguments) -> subprocess.CompletedProcess:
    return subprocess.run([PRODUCT / "usr/bin/vardoquarantine", *arguments], check=False, capture_output=True, text=True,
                          timeout=60)


def services() -> list[int]:
    """The processes of the scanning service."""
    found = []
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if os.readlink(process / "exe").startswith(str(PRODUCT / "sbin/qsavd")):
                found.append(int(process.name))
        except OSError:
            pass
    return found


def status_of(process: int, field: str) -> str:
    lines = pathlib.Path(f"/proc/{process}/status").read_text().splitlines()
    return next(line.split()[1] for line in lines if line.startswith(field + ":"))


def workers() -> list[int]:
    """Those that parse files."""
    return [process for process in services() if status_of(process, "Seccomp") == "2"]


def prey(name: str = "bad", content: bytes = MARKER) -> pathlib.Path:
    path = PREY / name
    path.write_bytes(content)
    return path


def found(done: subprocess.CompletedProcess) -> bool:
    return "[Vardo.Marker]" in done.stdout


class Library:
    """ptrace(2)."""
    ptrace = ctypes.CDLL(None, use_errno=True).ptrace
    ptrace.argtypes = [ctypes.c_long, ctypes.c_long, ctypes.c_void_p, ctypes.c_void_p]
    ptrace.restype = ctypes.c_long
