# Draws what discovery costs against the size of the fleet: "data" as bench/discovery writes it,
# "plot" the SVG file.
set terminal svg size 760,420 font "sans-serif,13" background "white"
set output plot
set title "Processor time of one discovery"
set xlabel "devices that answer at once"
set ylabel "ms"
set logscale xy
set xrange [0.8:1300]
set xtics (1, 16, 64, 256, 1024)
set grid
set key top left
plot data using 1:2 with linespoints linewidth 2 title "avoipd", \
     data using 1:3 with linespoints linewidth 2 title "bare floor"
