# The layers, bottom up: one line a layer, the modules on it. A module (a
# folder of src/, or a feature's view/ folder) includes and links only the
# modules of lower layers. qz62_module() refuses a dependency that breaks
# this, and the include check (tests/build/check_layers.py) reads this list
# too, so it is written here once.
set(QZ62_LAYERS
    "base"
    "timecode"
    "protocol"
    "link"
    "update midi sim"
    "cues overlay"
    "panel"
    "base/view"
    "cues/view midi/view overlay/view panel/view"
    "app cli")
