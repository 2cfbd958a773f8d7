"""The Python module against ezdxf (Debian's python3-ezdxf), both in this one
/usr/bin/python3 process: reading the factory plot style table and the largest
test table, best of several runs; and the time `import drutils` takes in a fresh
interpreter.

    PYTHONPATH=build/python /usr/bin/python3 bench/bench_python.py tests/data
"""

import os
import subprocess
import sys
import time


def best(fn, runs):
    times = []
    for _ in range(runs):
        start = time.perf_counter()
        fn()
        times.append(time.perf_counter() - start)
    return min(times)


def import_time(runs=15):
    script = "import time; t = time.perf_counter(); import drutils; print(time.perf_counter() - t)"
    env = dict(os.environ)
    times = []
    for _ in range(runs):
        out = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, env=env, check=True)
        times.append(float(out.stdout))
    return min(times)


def main():
    data = sys.argv[1] if len(sys.argv) > 1 else "tests/data"
    import drutils
    from ezdxf.addons import acadctb

    tables = sorted(
        (os.path.join(data, f) for f in os.listdir(data) if f.endswith((".ctb", ".stb"))),
        key=os.path.getsize,
    )
    cases = [("factory table", os.path.join(data, "color-dependent-factory.ctb")), ("largest table", tables[-1])]
    print(f"{'table':<16} {'drutils':>10} {'ezdxf':>10} {'ezdxf / drutils':>16}")
    for label, path in cases:
        ours = best(lambda: drutils.PlotStyleTable.read(path), 200)
        theirs = best(lambda: acadctb.load(path), 50)
        print(f"{label:<16} {ours * 1e3:>8.3f}ms {theirs * 1e3:>8.3f}ms {theirs / ours:>15.1f}x   "
              f"({os.path.basename(path)}; target >= 10x)")
    print(f"import drutils: {import_time() * 1e3:.1f} ms (target < 30 ms)")


if __name__ == "__main__":
    main()
