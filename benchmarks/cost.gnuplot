# Draws docs/cost.svg; called by benchmarks/run --picture, which passes the paths of the figures.
set terminal svg size 960,380 font "DejaVu Sans,12" background "#ffffff"
set output "docs/cost.svg"
set multiplot layout 1,2
set key left top Left reverse samplen 2
set grid ytics linecolor "#dddddd"
set border 3
set tics nomirror
set logscale x
set format x "%.0f"
set style line 1 linecolor "#0a7d4f" linewidth 2.5 pointtype 7 pointsize 0.5
set style line 2 linecolor "#888888" linewidth 1.5 pointtype 7 pointsize 0.4
set style line 3 linecolor "#c07a18" linewidth 1.5 pointtype 7 pointsize 0.4
set style line 4 linecolor "#3a6ea8" linewidth 1.5 pointtype 7 pointsize 0.4

set title "Reading setDetailViews"
set xlabel "subsplits"
set ylabel "time per subsplit (us)"
set yrange [0:8]
plot lists using 1:($3/$1) with linespoints linestyle 2 title "QXmlStreamReader, tokens only", \
     lists using 1:($2/$1) with linespoints linestyle 1 title "the library"

set title "Answering showLive over TLS, 100 at a time"
set xlabel "clients"
set ylabel "server processor time per command (us)"
set yrange [0:10]
plot crowds using 1:3 with linespoints linestyle 3 title "QWebSocketServer and QJsonDocument", \
     crowds using 1:4 with linespoints linestyle 4 title "websocketpp and nlohmann/json", \
     crowds using 1:2 with linespoints linestyle 1 title "the library", \
     crowds using 1:5 with linespoints linestyle 2 title "fixed replies"
