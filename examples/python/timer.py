"""A periodic timer in a script: its Timer event calls a Python function.

Run from a build:  PYTHONPATH=build/default/python python3 examples/python/timer.py
"""
import time

import borvane

timer = borvane.CreateObject("Borvane.TimerEvent")
start = time.monotonic()
borvane.connect(timer, "Timer", lambda: print(f"tick at {time.monotonic() - start:.2f} s"))
timer.Interval = 250
timer.Enabled = True
borvane.run_loop(1.1)  # ticks are delivered while the loop runs
timer.Enabled = False
