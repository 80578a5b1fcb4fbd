# gnuplot -e "dir='FOLDER'" soak.gnuplot: draws the samples that soak.sh left in FOLDER.
set terminal svg size 900,1100 font "sans,12" background rgb "white"
set output dir."/soak.svg"
set grid
set key bottom right
set multiplot layout 5,1
set yrange [0:*]
set ylabel "resident KB"
plot dir."/tcp/samples.dat" using 1:2 with lines lw 2 title "TCP", dir."/serial/samples.dat" using 1:2 with lines lw 2 title "serial line"
set ylabel "descriptors"
plot dir."/tcp/samples.dat" using 1:3 with lines lw 2 title "TCP", dir."/serial/samples.dat" using 1:3 with lines lw 2 title "serial line"
set ylabel "processor seconds"
plot dir."/tcp/samples.dat" using 1:($4 / 1e6) with lines lw 2 title "TCP", dir."/serial/samples.dat" using 1:($4 / 1e6) with lines lw 2 title "serial line"
set ylabel "bytes waiting in sockets"
plot dir."/tcp/samples.dat" using 1:5 with lines lw 2 title "TCP", dir."/serial/samples.dat" using 1:5 with lines lw 2 title "serial line"
set ylabel "files not yet taken"
set xlabel "seconds"
plot dir."/tcp/samples.dat" using 1:6 with lines lw 2 title "TCP", dir."/serial/samples.dat" using 1:6 with lines lw 2 title "serial line"
unset multiplot
