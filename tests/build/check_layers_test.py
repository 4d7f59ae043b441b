#!/usr/bin/env python3
"""The layer check catches each kind of fault: every case plants one in a
copy of the tree and expects the check to name it."""
import os
import shutil
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.abspath(os.path.join(HERE, "../.."))
CHECK = os.path.join(HERE, "check_layers.py")

# (what is planted, file, text appended to it, expected words in the report)
CASES = [
    ("an include of a higher layer", "src/base/HexScan.cpp",
     '#include "link/ComThread.h"\n', "link is not on a layer below base"),
    ("an include of a same-layer module", "src/cues/CueText.cpp",
     '#include "overlay/TextItem.h"\n', "overlay is not on a layer below cues"),
    ("a view including another feature's view", "src/cues/view/CueWindow.cpp",
     '#include "midi/view/MidiView.h"\n', "never includes another feature's view"),
    ("a lower module not named in CMake", "src/overlay/PreviewWorker.cpp",
     '#include "timecode/TcCalculator.h"\n', "overlay does not name timecode"),
    ("another module's internal header", "src/cues/view/CueTableView.cpp",
     '#include "cues/internal/PdfFontDecoder.h"\n', "internal/ is private to cues"),
    ("printing outside the logging module", "src/link/ComThread.cpp",
     'void planted() { std::printf("x\\n"); }\n', "prints directly"),
    ("a long function", "src/timecode/TCFormatter.cpp",
     "int planted() {\n" + "    int x = 0;\n" * 85 + "    return 0;\n}\n", "a function of 88 lines"),
]


def run(root):
    return subprocess.run([sys.executable, CHECK, root], capture_output=True, text=True)


def copy_tree(dest):
    for part in ("src", "tests", "README.md"):
        src = os.path.join(ROOT, part)
        if os.path.isdir(src):
            shutil.copytree(src, os.path.join(dest, part),
                            ignore=shutil.ignore_patterns("data", "*.pdf"))
        else:
            shutil.copy(src, dest)


def main():
    failures = []
    with tempfile.TemporaryDirectory() as tmp:
        clean = os.path.join(tmp, "clean")
        copy_tree(clean)
        baseline = run(clean)
        if baseline.returncode != 0:
            print("the tree itself does not pass the check:\n" + baseline.stdout)
            return 1
        for what, path, text, expected in CASES:
            case = os.path.join(tmp, "case")
            shutil.copytree(clean, case)
            with open(os.path.join(case, path), "a", encoding="utf-8") as f:
                f.write(text)
            result = run(case)
            if result.returncode == 0 or expected not in result.stdout:
                failures.append(f"{what}: not caught (expected '{expected}'):\n{result.stdout}")
            shutil.rmtree(case)
        # The README's graph is held against the CMake files.
        case = os.path.join(tmp, "case")
        shutil.copytree(clean, case)
        with open(os.path.join(case, "src/Layers.cmake"), encoding="utf-8") as f:
            layers = f.read()
        with open(os.path.join(case, "src/Layers.cmake"), "w", encoding="utf-8") as f:
            f.write(layers.replace('"update midi sim"', '"update sim"\n    "midi"'))
        result = run(case)
        if "README.md: the layer graph differs" not in result.stdout:
            failures.append("a README graph out of date: not caught:\n" + result.stdout)
    for failure in failures:
        print(failure)
    print(f"{len(CASES) + 1 - len(failures)} of {len(CASES) + 1} planted faults caught")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
