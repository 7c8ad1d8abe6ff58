"""Installs into a fresh prefix and uses what is there as a stranger would: a program built through the CMake package
and through pkg-config, and qv itself."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

build, source, cmake, compiler, libdir = sys.argv[1:]
clean = {name: value for name, value in os.environ.items() if name not in {"LD_LIBRARY_PATH", "QVLIBS_BUILD_DIR"}}


def run(*command, **more):
    done = subprocess.run([str(word) for word in command], env=clean | more, capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"{' '.join(str(word) for word in command)}\n{done.stdout}{done.stderr}")
    return done.stdout


with tempfile.TemporaryDirectory() as folder:
    work = pathlib.Path(folder)
    prefix = work / "prefix"
    clean["QVLIBS_HOME"] = str(work / "home")
    run(cmake, "--install", build, "--prefix", prefix)
    lib = prefix / libdir

    run(cmake, "-S", f"{source}/tests/consumer", "-B", work / "build", f"-DCMAKE_PREFIX_PATH={prefix}",
        f"-DCMAKE_CXX_COMPILER={compiler}")
    run(cmake, "--build", work / "build")
    programs = [work / "build/consumer"]
    if shutil.which("pkg-config"):
        # The file names the prefix that was configured; pkg-config moves it with --define-prefix.
        flags = run("pkg-config", "--define-prefix", "--cflags", "--libs", "qvlibs",
                    PKG_CONFIG_PATH=str(lib / "pkgconfig")).split()
        run(compiler, "-std=c++20", f"{source}/tests/consumer/consumer.cpp", "-o", work / "second", *flags)
        programs.append(work / "second")

    modules = [path for path in (lib / "qvlibs").iterdir() if path.suffix in {".pcp", ".vcp", ".acp", ".tcp"}]
    tape = work / "tape.avi"
    if shutil.which("ffmpeg"):
        run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "color=red:size=720x480:rate=30000/1001:duration=0.2",
            "-c:v", "dvvideo", "-pix_fmt", "yuv411p", tape)
    for program in programs:
        answer = run(program)
        if answer != f"00:01:00:02, {len(modules)} modules\n":
            sys.exit(f"{program} says: {answer}")
        if tape.exists():
            numbers = [int(number) for number in re.findall(r"\d+", run(program, tape))]
            frames, blue, green, red = numbers
            if frames < 5 or red < 200 or green > 60 or blue > 60:
                sys.exit(f"{program} sees a red tape as {numbers}")
    if not run(prefix / "bin/qv", "--version").startswith("qv "):
        sys.exit("the installed qv does not run")
    listed = run(prefix / "bin/qv", "plugins").splitlines()
    if len(listed) < len(modules):
        sys.exit(f"the installed qv sees {len(listed)} of {len(modules)} modules")
    for path in prefix.rglob("*"):
        if path.is_file() and not path.is_symlink() and path.suffix in {".pc", ".cmake"} and str(build) in path.read_text():
            sys.exit(f"{path} names the build tree")
print(f"{len(programs)} programs built and run, {len(modules)} modules found")
