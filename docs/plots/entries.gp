set terminal svg size 900,480 font 'sans,13' background 'white' noenhanced
set output 'entries.svg'
set datafile missing '?'
set style data histograms
set style histogram clustered gap 1
set style fill solid 0.8
set xtics rotate by -45
set rmargin 12
set ylabel 'entries a rule'
set yrange [0:*]
set grid ytics
set key top right
plot 'entries.dat' using 2:xtic(1) title 'plain expansion', '' using 3 title 'cost order', '' using 4 title 'nested'
