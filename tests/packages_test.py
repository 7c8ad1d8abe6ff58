"""Makes the Debian packages and looks into them: every installed file in exactly one, nothing heavy behind the library
or the program, and a program that runs from what the packages unpack to."""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

build, cpack, version = sys.argv[1:]
LIGHT = {"libc6", "libgcc-s1", "libstdc++6", "libsqlite3-0", "libmd0", "zlib1g"}


def run(*command, **more):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, **more)
    if done.returncode != 0:
        sys.exit(f"{' '.join(str(word) for word in command)}\n{done.stdout}{done.stderr}")
    return done.stdout


with tempfile.TemporaryDirectory() as folder:
    work = pathlib.Path(folder)
    run(cpack, "--config", f"{build}/CPackConfig.cmake", "-B", work / "packages", cwd=build)
    packages = sorted((work / "packages").glob("*.deb"))
    owner = {}
    for package in packages:
        name = package.name.split("_")[0]
        for line in run("dpkg-deb", "-c", package).splitlines():
            path = line.split()[5]
            if not path.endswith("/"):
                assert path not in owner, f"{path} is in {owner[path]} and in {name}"
                owner[path] = name
        depends = {re.split(r"[ (|]", part.strip())[0] for part in run("dpkg-deb", "-f", package, "Depends").split(",")}
        if name.startswith("libqvlibs") or name == "qv":
            heavy = {one for one in depends if one not in LIGHT and not one.startswith("libqvlibs")}
            assert not heavy, f"{name} brings {heavy}"
        run("dpkg-deb", "-x", package, work / "root")

    run("cmake", "--install", build, "--prefix", work / "installed")
    installed = {str(path.relative_to(work / "installed")) for path in (work / "installed").rglob("*")
                 if path.is_symlink() or path.is_file()}
    packed = {path.removeprefix("./usr/") for path in owner}
    assert installed <= packed and all(path.endswith("/copyright") for path in packed - installed), \
        f"packed and installed differ: {sorted(packed ^ installed)}"

    qv = work / "root/usr/bin/qv"
    clean = {name: value for name, value in os.environ.items() if name not in {"LD_LIBRARY_PATH", "QVLIBS_BUILD_DIR"}}
    clean["QVLIBS_HOME"] = str(work / "home")
    assert run(qv, "--version", env=clean).startswith(f"qv {version}"), "the packed qv does not run"
    assert run(qv, "tc", "frames", "00:01:00:02", "--mode", "df", env=clean) == "1800\n"
    fronts = {path.rsplit("/", 1)[1] for path in owner if path.rsplit(".", 1)[-1] in {"pcp", "vcp", "acp", "tcp", "pbp"}}
    listed = run(qv, "plugins", env=clean)
    missing = {front for front in fronts if front not in listed}
    assert not missing, f"the packed qv does not see {missing}"
print(f"{len(packages)} packages, {len(owner)} files, {len(fronts)} modules")
