# The cost of a line of the update list: gnuplot -c PLOT DATA SVG, from the root of the project. The data: lines, and
# microseconds of each program, "?" where it was not run. There is no background, and every colour is a middle one:
# both are visible on light and dark pages.
text = "#7a7a7a"
set encoding utf8
set terminal svg size 800,400 font "sans-serif,14"
set border 3 linecolor rgb text
set tics nomirror textcolor rgb text
set grid linecolor rgb "#a0a0a0" linewidth 0.5 dashtype 3
set key outside top center horizontal samplen 3 textcolor rgb text
set datafile separator "\t" missing "?"
set output ARG2
set logscale xy
set xrange [80:125000]
set yrange [20:20000]
set xtics ("100" 100, "1,000" 1000, "10,000" 10000, "100,000" 100000)
set ytics ("30 µs" 30, "100 µs" 100, "300 µs" 300, "1 ms" 1000, "3 ms" 3000, "10 ms" 10000)
set xlabel "lines of the list" textcolor rgb text
set ylabel "time of a line" textcolor rgb text

# qvpost lies near the second bare loop, which is drawn broad so that both are seen.
plot ARG1 using 1:6 with linespoints linewidth 2 pointtype 5 pointsize 0.6 linecolor rgb "#d97706" \
         title "bash with mv and rm", \
     ARG1 using 1:5 with linespoints linewidth 2 pointtype 9 pointsize 0.8 linecolor rgb "#16a34a" title "Python", \
     ARG1 using 1:2 with lines linewidth 2 linecolor rgb "#909090" title "bare loop in C that stats", \
     ARG1 using 1:3 with lines linewidth 9 linecolor rgb "#70909090" title "bare loop in C that reads", \
     ARG1 using 1:4 with linespoints linewidth 2 pointtype 7 pointsize 0.6 linecolor rgb "#3b82f6" title "qvpost"
