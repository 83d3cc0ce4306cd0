#!/usr/bin/env python3
"""The stages of scripts/test: each builds and tests one preset, or checks one thing. See scripts/test."""

import os
import shutil
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import ctest_report
from ctest_report import Counts
from sources import root_folder
from wine import find_wine

ROOT = root_folder()
LOGS = ROOT / "build" / "logs"
JOBS = str(os.cpu_count() or 2)
FUZZ_SECONDS = int(os.environ.get("SYMBOLOGY_FUZZ_SECONDS", "30"))


def cache_folder():
    """The same folder as scripts/setup's."""
    caches = Path(os.environ.get("XDG_CACHE_HOME") or Path.home() / ".cache")
    return Path(os.environ.get("SYMBOLOGY_CACHE") or caches / "symbology")


def run(name, command, log, **options):
    """Runs one command as a test of its own; its output goes to the log. Exit status 77 says that it was skipped."""
    log.write(f"$ {' '.join(map(str, command))}\n".encode())
    log.flush()
    started = log.tell()
    status = subprocess.run(command, cwd=ROOT, stdin=subprocess.DEVNULL, stdout=log, stderr=subprocess.STDOUT,
                            **options).returncode
    if status == 0:
        return Counts(passed=1)
    log.seek(started)
    said = log.read().decode(errors="replace")
    if status == 77:
        return Counts(skipped=[(name, ctest_report.skip_reason(said, ""))])
    return Counts(failed=[(name, f"{said}\n(exit status {status})")])


def configure_and_build(preset, log):
    counts = run(f"{preset}: configure", ["cmake", "--preset", preset], log)
    if not counts.failed:
        counts.add(run(f"{preset}: build", ["cmake", "--build", "--preset", preset, "-j", JOBS], log))
    return counts


def ctest(preset, log, *more, programs=None):
    report = LOGS / f"{preset}.xml"
    report.unlink(missing_ok=True)
    ran = run(f"{preset}: ctest", ["ctest", "--preset", preset, "-j", JOBS, "--output-junit", report, *more], log)
    if not report.exists():
        return ran
    counts = ctest_report.read(report, programs)
    if ran.failed and not counts.failed:  # no tests at all, or something else than a test
        counts.add(ran)
    return counts


def suite(preset):
    def stage(log):
        counts = configure_and_build(preset, log)
        if not counts.failed:
            counts.add(ctest(preset, log))
        return counts
    return stage


def release(log):
    """The suite as it is shipped; every benchmark once, for its checks and not for its times."""
    counts = suite("release")(log)
    for program in sorted((ROOT / "build/release/bin").glob("*_bench")):
        counts.add(run(program.name, [program, "--benchmark_min_time=0.001"], log))
    return counts


def style(log):
    counts = run("tidy: configure", ["cmake", "--preset", "tidy"], log)
    if not counts.failed:
        counts.add(ctest("tidy", log))
    return counts


def formatting(log):
    tool = cache_folder() / "tools/bin/clang-format"
    return run("format", [sys.executable, "scripts/checks/format.py", "--clang-format", tool], log)


def windows(log):
    """The library for Windows and the suite under Wine, counted case by case. Without the means to, it has failed."""
    missing = [what for what, there in (("the cross compiler", shutil.which("x86_64-w64-mingw32-g++-posix")),
                                        ("Wine", find_wine())) if not there]
    if missing:
        return Counts(failed=[("windows", f"{' and '.join(missing)} cannot be found; scripts/setup windows installs them")])
    counts = configure_and_build("windows", log)
    if not counts.failed:
        counts.add(ctest("windows", log, programs=ROOT / "build/windows/reports"))
        counts.add(missing_on_windows(log))
        counts.add(run("package.zip", ["scripts/package", "zip"], log))
    return counts


def missing_on_windows(log):
    """Compares the tests of both platforms, where the stage of the other one has been."""
    if not (ROOT / "build/release/CTestTestfile.cmake").exists():
        return Counts(skipped=[("missing_on_windows", "the stage release has not been run")])
    return run("missing_on_windows", [sys.executable, "scripts/checks/platform_tests.py", "build/release",
                                      "build/windows", "tests/not_on_windows.txt"], log)


def package(log):
    """The packages for Linux; the one for Windows belongs to that stage."""
    counts = Counts()
    for kind in ("tar.gz", "deb"):
        counts.add(run(f"package.{kind}", ["scripts/package", kind], log))
    return counts


def coverage(log):
    counts = suite("coverage")(log)
    counts.add(run("coverage-report", ["cmake", "--build", "--preset", "coverage-report"], log))
    return counts


def fuzz(log):
    """The seeds as tests, then a while of fuzzing for each target."""
    if not shutil.which("clang++"):
        return Counts(failed=[("fuzz", "clang++ cannot be found; scripts/setup fuzz installs it")])
    counts = suite("fuzz")(log)
    programs = sorted((ROOT / "build/fuzz/bin").glob("*_fuzzer"))
    if counts.failed or not programs:
        counts.failed += [] if programs else [("fuzz", "no fuzz targets")]
        return counts

    findings = ROOT / "build/fuzz/findings"
    findings.mkdir(exist_ok=True)

    def campaign(program):
        target = program.name.removesuffix("_fuzzer")
        corpus = ROOT / "build/fuzz/corpus" / target
        corpus.mkdir(parents=True, exist_ok=True)
        dictionary = ROOT / "fuzz" / f"{target}.dict"
        command = [program, f"-max_total_time={FUZZ_SECONDS}", "-timeout=20", "-rss_limit_mb=2048",
                   "-max_len=16384", f"-artifact_prefix={findings}/{target}-", "-print_final_stats=1"]
        command += [f"-dict={dictionary}"] if dictionary.exists() else []
        with open(LOGS / f"fuzz-{target}.log", "w+b") as own_log:
            return run(f"fuzz.{target}.{FUZZ_SECONDS}s", [*command, corpus, ROOT / "fuzz/seeds" / target], own_log)

    with ThreadPoolExecutor(int(JOBS)) as pool:
        for result in pool.map(campaign, programs):
            counts.add(result)
    return counts


def soak(log):
    """A minute of everything at once, on what the stage release has built."""
    counts = configure_and_build("release", log)
    if not counts.failed:
        counts.add(run("soak.1min", [sys.executable, "-B", "tests/soak/soak.py", "--minutes", "1"], log))
    return counts


def faults(log):
    """The tool with calls into the system that fail; what there is time for of all that there are."""
    counts = configure_and_build("release", log)
    if not counts.failed:
        counts.add(run("faults", [sys.executable, "-B", "tests/faults/faults.py", ROOT / "build/release/bin/cxml",
                                  ROOT / "build/release/lib/libfault_injection.so"], log))
    return counts


def pictures(log):
    """What is made to be looked at, in the programs that people look at it with: a browser, QGIS; and the plug-in for QGIS."""
    counts = configure_and_build("release", log)
    if not counts.failed:
        environment = {**os.environ, "CXML": str(ROOT / "build/release/bin/cxml"), "SYMBOLOGY_PICTURES": str(LOGS.parent / "pictures")}
        for script in sorted((ROOT / "tests/pictures").glob("*_test.py")):
            counts.add(run(f"pictures.{script.stem.removesuffix('_test')}", ["/usr/bin/python3", "-B", script, "-v"], log,
                           env=environment))
        counts.add(run("package.qgis", ["scripts/package", "qgis"], log))
    return counts


def tests_of_package(log, environment, scripts, interpreter=None):
    """The Python package's tests in an environment of the cache, which gets the wheel as its users would."""
    wheels = sorted((ROOT / "build/wheels").glob("*.whl"))
    python = cache_folder() / environment / "bin/python"
    if interpreter:  # another Python, with what it finds of the packages
        python = ROOT / "build" / environment / "bin/python"
        made = run(f"{environment}: environment", [interpreter, "-m", "venv", "--clear", python.parents[1]], log)
        made.add(run(f"{environment}: packages", [python, "-m", "pip", "install", "--quiet", "-r", "scripts/python/tests.txt"], log))
        if made.failed:
            return made
    counts = run(f"{environment}: install", [python, "-m", "pip", "install", "--quiet", "--force-reinstall", *wheels], log)
    if not wheels or counts.failed:
        counts.failed += [] if wheels else [(environment, "there is no wheel")]
        return counts
    variables = {**os.environ, "CXML": str(ROOT / "build/release/bin/cxml")}
    for script in scripts:
        counts.add(run(f"{environment}.{script.removesuffix('_test.py')}",
                       [python, "-B", ROOT / "tests/package_python" / script], log, env=variables))
    return counts


wheel_is_made = False


def make_wheel(log):
    """The wheel of these sources; once, whichever stages of this run need it."""
    global wheel_is_made  # pylint: disable=global-statement
    counts = Counts() if wheel_is_made else run("wheel", ["/usr/bin/python3", "-B", "scripts/wheel"], log)
    wheel_is_made = not counts.failed
    return counts


def python_package(log):
    """The wheel, and the package in the system's Python and in the embedded one's release."""
    counts = configure_and_build("release", log)
    counts.add(make_wheel(log))
    if counts.failed:
        return counts
    scripts = ["exchange_test.py", "duckdb_test.py", "conformance_test.py", "examples_test.py", "types_test.py"]
    counts.add(tests_of_package(log, "python-tests", scripts))
    if not counts.failed:  # its answers, not its times
        counts.add(run("streams_bench", [cache_folder() / "python-tests/bin/python", "-B", "bench/streams", "--quick"], log))
    embedded = dict(line.split("=", 1) for line in (cache_folder() / "python.env").read_text().split())["PYTHON3_13"]
    if os.path.realpath(embedded) != os.path.realpath("/usr/bin/python3"):
        counts.add(tests_of_package(log, "python-3.13", ["exchange_test.py", "duckdb_test.py"], embedded))
    return counts


def spark(log):
    """The package in Spark, on two local workers."""
    counts = configure_and_build("release", log)
    counts.add(make_wheel(log))
    if not counts.failed:
        counts.add(tests_of_package(log, "spark", ["spark_test.py", "spark_examples_test.py"]))
    return counts


# The platforms whose counts are compared.
PLATFORMS = {"release": "Linux", "windows": "Windows, under Wine"}

STAGES = {
    "dev": suite("dev"),
    "release": release,
    "asan-ubsan": suite("asan-ubsan"),
    "tsan": suite("tsan"),
    "style": style,
    "format": formatting,
    "windows": windows,
    "package": package,
    "fuzz": fuzz,
    "soak": soak,
    "faults": faults,
    "pictures": pictures,
    "python": python_package,
    "spark": spark,
    "coverage": coverage,
}


def show_failures(counts, most_lines=80):
    for name, said in counts.failed:
        lines = said.splitlines()
        print(f"--- {name} failed" + (f", the last {most_lines} of {len(lines)} lines:" if len(lines) > most_lines else ":"))
        print("\n".join(lines[-most_lines:]), flush=True)


def show_skips(counts):
    reasons = {}
    for name, reason in counts.skipped:
        reasons.setdefault(reason, []).append(name)
    for reason, names in reasons.items():
        listed = ", ".join(names[:5]) + (f" and {len(names) - 5} more" if len(names) > 5 else "")
        print(f"    skipped: {listed}: {reason}")


def main(names):
    unknown = [name for name in names if name not in STAGES]
    if unknown or not names:
        print(f"no such stage: {' '.join(unknown) or '(none named)'}; there are {', '.join(STAGES)}", file=sys.stderr)
        return 2
    # A clone elsewhere is the same source to the compiler cache.
    os.environ.setdefault("CCACHE_BASEDIR", str(ROOT))
    os.environ.setdefault("CCACHE_NOHASHDIR", "1")
    LOGS.mkdir(parents=True, exist_ok=True)

    total = Counts()
    summary = []
    for name in names:
        print(f"== {name}", flush=True)
        started = time.monotonic()
        with open(LOGS / f"{name}.log", "w+b") as log:
            counts = STAGES[name](log)
        show_failures(counts)
        summary.append((name, counts, time.monotonic() - started))
        print(f"   {counts} ({summary[-1][2]:.0f} s)", flush=True)
        total.add(counts)

    print("\nStages")
    for name, counts, seconds in summary:
        platform = f"; {PLATFORMS[name]}" if name in PLATFORMS else ""
        print(f"  {name:<15} {counts} ({seconds:.0f} s{platform})")
        show_skips(counts)
    print(f"\n{total}")
    return 1 if total.failed or not total.passed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
