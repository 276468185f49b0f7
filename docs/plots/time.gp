set terminal svg size 800,520 font 'sans,13' background 'white' noenhanced
set output 'time.svg'
set datafile missing '?'
set logscale xy
set xrange [500:200000]
set xlabel 'rules'
set ylabel 'seconds'
set format x '%.0f'
set key outside right top
set grid
plot 'time.dat' index 0 using 1:2 with points pointtype 4 pointsize 0.7 title 'orvex compile', \
  'time.dat' index 1 using 1:2 with points pointtype 5 pointsize 0.7 title 'nft -c -f', \
  'time.dat' index 2 using 1:2 with points pointtype 6 pointsize 0.7 title 'nft -f', \
  'time.dat' index 3 using 1:2 with points pointtype 7 pointsize 0.7 title 'kick', \
  'time.dat' index 4 using 1:2 with points pointtype 8 pointsize 0.7 title 'kick, cost order', \
  'time.dat' index 5 using 1:2 with points pointtype 9 pointsize 0.7 title 'librte_acl', \
  'time.dat' index 6 using 1:2 with points pointtype 10 pointsize 0.7 title 'plain expansion'
