# The cost of a line of the update list. The data: lines, and microseconds of each program, "?" where it wasn't run.
load "bench/plot.gnuplot"
set output ARG2
set logscale xy
set xrange [80:125000]
set yrange [20:20000]
set xtics ("100" 100, "1,000" 1000, "10,000" 10000, "100,000" 100000)
set ytics ("30 µs" 30, "100 µs" 100, "300 µs" 300, "1 ms" 1000, "3 ms" 3000, "10 ms" 10000)
set xlabel "lines of the list" textcolor rgb text_colour
set ylabel "time of a line" textcolor rgb text_colour
set key outside top center horizontal samplen 3

# qvpost lies near the bare loop that looks, which is drawn broad so that both are seen.
plot ARG1 using 1:6 with linespoints linewidth 2 pointtype 5 pointsize 0.6 linecolor rgb "#d97706" \
         title "bash with mv and rm", \
     ARG1 using 1:5 with linespoints linewidth 2 pointtype 9 pointsize 0.8 linecolor rgb "#16a34a" title "Python", \
     ARG1 using 1:2 with lines linewidth 2 linecolor rgb "#909090" title "bare loop in C that asks", \
     ARG1 using 1:3 with lines linewidth 9 linecolor rgb "#70909090" title "bare loop in C that looks", \
     ARG1 using 1:4 with linespoints linewidth 2 pointtype 7 pointsize 0.6 linecolor rgb post_colour title "qvpost"
