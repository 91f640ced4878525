"""Draws the plots of bench/run with gnuplot."""

import pathlib

from measuring import run

HEAD = """set terminal svg size {width},{height} font "sans-serif,13" background "#ffffff"
set output "{target}"
set border 3 lc rgb "#666666"
set tics nomirror textcolor rgb "#333333"
set grid ytics lc rgb "#dddddd"
"""

TIMES = HEAD + """set title "{title}"
set style data histograms
set style histogram clustered gap 1
set style fill solid 1.0 noborder
set boxwidth 0.9
set ylabel "seconds, logarithmic"
set logscale y
set yrange [0.05:*]
set xtics rotate by -30
set key top left
plot "{data}" using 2:xtic(1) title "in the page cache" lc rgb "#1b6ca8", \\
     "" using 3 title "not cached" lc rgb "#e0a030", \\
     "" using 0:2:(sprintf("%.2f", $2)) with labels offset -2,0.6 font ",10" notitle, \\
     "" using 0:3:(sprintf("%.2f", $3)) with labels offset 2,0.6 font ",10" notitle
"""

GROWTH = HEAD + """set title "A listing of n files, 100 in each directory"
set logscale xy
set format x "10^{{%L}}"
set xlabel "files"
set ylabel "seconds"
set y2label "peak memory, MiB"
set y2tics
set y2range [0:*]
set ytics nomirror
set key top left
plot "{data}" using 1:2 axes x1y1 with linespoints pt 7 lw 2 lc rgb "#1b6ca8" title "time", \\
     "" using 1:3 axes x1y2 with linespoints pt 5 lw 2 lc rgb "#e0a030" title "peak memory"
"""


def draw(script, rows, target, data, **names):
    """Writes `rows` to the file `data` and draws them to the file `target`."""
    lines = ("\t".join(f'"{cell}"' if isinstance(cell, str) else f"{cell:.4f}" for cell in row)
             for row in rows)
    pathlib.Path(data).write_text("\n".join(lines) + "\n")
    run(["gnuplot"], input=script.format(target=target, data=data, **names))


def draw_times(rows, title, target, data):
    """Rows: name, seconds in the page cache, seconds not cached."""
    draw(TIMES, rows, target, data, title=title, width=860, height=460)


def draw_growth(rows, target, data):
    """Rows: number of files, seconds, MiB."""
    draw(GROWTH, rows, target, data, width=640, height=420)
