"""Times pandas on a table: peer.py FILE-OR-URL RUNS. Prints name, median seconds, sum of the numbers."""
import io
import statistics
import sys
import time

import pandas

source, runs = sys.argv[1], int(sys.argv[2])
text = None if source.startswith("http") else open(source, "rb").read()
seconds = []
for _ in range(runs + 1):
    start = time.perf_counter()
    table = pandas.read_csv(io.BytesIO(text) if text else source, parse_dates=["Date"])
    seconds.append(time.perf_counter() - start)
total = table.iloc[:, 1:].to_numpy(float).sum()
print("pandas", statistics.median(seconds[1:]), repr(float(total)), sep="\t")
