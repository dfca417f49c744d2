# Plots the file `data`, written by bench/report, into the folder `images`. Its columns are the x
# value, seconds of the call, seconds of the bare work, and their ratio. The colours suit
# colour-blind readers.

blue = "#0072B2"; orange = "#D55E00"; green = "#009E73"; purple = "#CC79A7"
set terminal svg size 1000,430 font "sans-serif,13" background "#ffffff"
set encoding utf8
set grid lc rgb "#dddddd" lw 1 lt 1
set border 3
set tics nomirror
set key top left Left reverse samplen 3
set style data linespoints
set pointsize 0.6
set format x "%'.0f"

operations(kind) = system(sprintf("sed -n 's|^# \\(catalogue/%s/.*\\)|\\1|p' '%s'", kind, data))

# Catalogue

set output images."/performance-catalogue.svg"
set multiplot layout 1,2
set logscale xy
set xlabel "elements of the library"
set ylabel "time, ms"
set xrange [8:70000]
set title "Time of a call and of the bare work"
query = "catalogue/query/GetVirtualLibraryElements"
move = "catalogue/change/MoveVirtualLibraryElement"
plot data index move using 1:($2*1e3) lc rgb orange lw 2 pt 5 title "MoveVirtualLibraryElement", \
     data index move using 1:($3*1e3) with lines lc rgb orange lw 2 dt 2 title "parse, serialise, write", \
     data index query using 1:($2*1e3) lc rgb blue lw 2 pt 7 title "GetVirtualLibraryElements", \
     data index query using 1:($3*1e3) with lines lc rgb blue lw 2 dt 2 title "parse"
unset logscale y
set yrange [0:*]
set ylabel "call ÷ bare work"
set title "Ratio, a line for each operation"
set key bottom right
plot for [name in operations("query")] data index name using 1:4 lc rgb blue lw 1 pt 7 notitle, \
     for [name in operations("change")] data index name using 1:4 lc rgb orange lw 1 pt 5 notitle, \
     NaN with linespoints lc rgb blue lw 2 pt 7 title "queries", \
     NaN with linespoints lc rgb orange lw 2 pt 5 title "changes", \
     1.05 with lines lc rgb "#000000" dt 3 lw 1 title "target from 1,000 elements up: 1.05"
unset multiplot

# Blocks

set output images."/performance-blocks.svg"
set multiplot layout 1,2
set logscale x 2
set logscale y 10
set xrange [3:1400]
set yrange [*:*]
set xlabel "block, KiB"
set ylabel "throughput, MiB/s"
set key bottom right
throughput(kib, seconds) = kib / 1024.0 / seconds
set title "Reads, a volume of 10 files"
read = "blocks/ReadDataForDrive/10"
direct = "blocks/DirectReadDataForDrive/10"
plot data index read using 1:(throughput($1,$2)) lc rgb blue lw 2 pt 7 title "ReadDataForDrive", \
     data index direct using 1:(throughput($1,$2)) lc rgb green lw 2 pt 9 title "DirectReadDataForDrive", \
     data index read using 1:(throughput($1,$3)) with lines lc rgb "#000000" lw 2 dt 2 title "open, lseek, read, close"
set title "Writes (WriteDataForDrive), volumes of 1 to 1,000 files"
write(files) = sprintf("blocks/WriteDataForDrive/%d", files)
array colours[4] = [blue, green, orange, purple]
plot for [i=1:4] data index write(10**(i-1)) using 1:(throughput($1,$2)) \
       lc rgb colours[i] lw 2 pt 2*i+3 title sprintf(i == 1 ? "%d file" : "%d files", 10**(i-1)), \
     for [i=1:4] data index write(10**(i-1)) using 1:(throughput($1,$3)) \
       with lines lc rgb colours[i] lw 2 dt 2 notitle, \
     NaN with lines lc rgb "#000000" lw 2 dt 2 title "bare calls"
unset multiplot

# Drives

set output images."/performance-drives.svg"
set terminal svg size 640,430 font "sans-serif,13" background "#ffffff"
set logscale xy 10
set xrange [0.8:3000]
set xlabel "drives registered"
set ylabel "time for all, s"
set key top left
set title "Drives registered one by one and as one batch"
plot data index "drives/one-by-one" using 1:2 lc rgb orange lw 2 pt 5 title "one by one", \
     data index "drives/one-by-one" using 1:3 with lines lc rgb orange lw 2 dt 2 title "parse, serialise, write for each drive", \
     data index "drives/batch" using 1:2 lc rgb blue lw 2 pt 7 title "one batch", \
     data index "drives/batch" using 1:3 with lines lc rgb blue lw 2 dt 2 title "parse, serialise, write once"
