# gnuplot -e "dir='FOLDER'" plots.gnuplot: draws the data that LoadBench left in FOLDER.
set terminal svg size 760,420 font "sans,12" background rgb "white"
set grid
set key bottom right

set output dir."/roundtrip.svg"
set title "Round trips: share of requests answered within"
set xlabel "microseconds"
set ylabel "% of requests"
set logscale x
plot dir."/roundtrip-bridge.dat" with lines lw 2 title "through the bridge", \
     dir."/roundtrip-bare.dat" with lines lw 2 title "bare relay"

set output dir."/blocks.svg"
set title "Files on TCP: rate against block length"
set xlabel "bytes in a block"
set ylabel "MB/s"
set key top left
plot dir."/blocks.dat" using 1:2 with linespoints lw 2 title "upload, bridge", \
     dir."/blocks.dat" using 1:3 with linespoints lw 2 title "upload, bare", \
     dir."/blocks.dat" using 1:4 with linespoints lw 2 title "download, bridge", \
     dir."/blocks.dat" using 1:5 with linespoints lw 2 title "download, bare"

set output dir."/memory.svg"
set title "Resident memory while files of 1 MB to 1 GB move both ways"
set xlabel "seconds"
set ylabel "MB"
unset logscale x
set yrange [0:*]
set key bottom right
plot dir."/memory.dat" with lines lw 2 title "the bridge"
