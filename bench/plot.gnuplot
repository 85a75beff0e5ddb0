# What the plots share. Loaded by them from the root of the project: gnuplot -c PLOT DATA SVG.
# There is no background, and every colour is a middle one: a page that is light and a page that is dark show both.
text_colour = "#7a7a7a"
grid_colour = "#a0a0a0"
post_colour = "#3b82f6"
other_colour = "#909090"

set encoding utf8
set terminal svg size 800,400 font "sans-serif,14"
set border 3 linecolor rgb text_colour
set tics nomirror textcolor rgb text_colour
set grid linecolor rgb grid_colour linewidth 0.5 dashtype 3
set key textcolor rgb text_colour
set datafile separator "\t" missing "?"
