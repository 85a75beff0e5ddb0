# The cost of a log line. The data: what writes it, nanoseconds to /dev/null, nanoseconds to a file; the last is above.
load "bench/plot.gnuplot"
set output ARG2
stats ARG1 using 3 nooutput
set xrange [0:STATS_max * 1.12]
set yrange [-0.6:STATS_records - 0.4]
set border 1
set tics scale 0
set ytics ()
set grid noytics
set xlabel "processor time of a line, ns" textcolor rgb text_colour
set key outside top center horizontal samplen 1.5 width 2
set style fill solid noborder

colour(name) = name eq "qvpost" ? 0x3b82f6 : 0x909090
pale(name) = 0x80000000 + colour(name)
half = 0.36
shown = "left offset 0.6,0 textcolor rgb text_colour"
plot ARG1 using (0):0:(0):2:($0 + 0.02):($0 + half):(colour(strcol(1))):ytic(1) with boxxyerror \
         linecolor rgb variable notitle, \
     ARG1 using (0):0:(0):3:($0 - half):($0 - 0.02):(pale(strcol(1))) with boxxyerror linecolor rgb variable notitle, \
     ARG1 using 2:($0 + half / 2):(sprintf("%.0f", $2)) with labels @shown notitle, \
     ARG1 using 3:($0 - half / 2):(sprintf("%.0f", $3)) with labels @shown notitle, \
     NaN with boxes linecolor rgb other_colour title "to /dev/null", \
     NaN with boxes linecolor rgb "#80909090" title "to a file"
