#!/bin/sh
# Two photo-like 1920x1080 pictures for measuring the outputs, made by the ffmpeg program: a
# smooth sky with a sun's glow above a hilly horizon, ground textured by three octaves of value
# noise, a slight lens blur and sensor grain. The same seeds give the same pictures.
#
#   bench/outputs/photo-pictures.sh FOLDER   (writes FOLDER/a.png and FOLDER/b.png)
set -e
folder=${1:?usage: photo-pictures.sh FOLDER}

# picture OUT SEED SKY_RED GROUND_RED SKY_GREEN GROUND_GREEN HORIZON SKY_BLUE GROUND_BLUE
# (geq expressions; r(X,Y), g(X,Y), b(X,Y) read the noise texture).
picture() {
  ffmpeg -v error -y -filter_complex "
color=c=gray:s=40x23:d=1,format=gbrp,noise=alls=100:all_seed=$2,scale=1920:1080:flags=bicubic[o1];
color=c=gray:s=160x90:d=1,format=gbrp,noise=alls=100:all_seed=$(($2 + 1)),scale=1920:1080:flags=bicubic[o2];
color=c=gray:s=640x360:d=1,format=gbrp,noise=alls=100:all_seed=$(($2 + 2)),scale=1920:1080:flags=bicubic[o3];
[o1][o2]blend=all_expr='A*0.6+B*0.4'[m];[m][o3]blend=all_expr='A*0.75+B*0.25',format=rgb24,
geq=r='if(lt(Y,$7),$3,$4)':g='if(lt(Y,$7),$5,$6)':b='if(lt(Y,$7),$8,$9)',
gblur=sigma=0.7,noise=alls=4:allf=u:all_seed=$2,format=rgb24" -frames:v 1 "$1"
}

horizon='560+80*sin(X/210)+30*sin(X/53+1)+8*sin(X/11)'
sun='exp(-((X-1400)*(X-1400)+(Y-260)*(Y-260))/9000)'
picture "$folder/a.png" 11 \
  "min(255,70+0.12*Y+160*$sun)" "40+0.9*(r(X,Y)-60)" \
  "min(255,130+0.09*Y+130*$sun)" "60+1.1*(g(X,Y)-50)" "$horizon" \
  "min(255,235-0.08*Y+20*$sun)" "25+0.5*(b(X,Y)-60)"

horizon='620+50*sin(X/330+2)+20*sin(X/71)+6*sin(X/9)'
sun='exp(-((X-500)*(X-500)+(Y-520)*(Y-520))/20000)'
picture "$folder/b.png" 21 \
  "min(255,120+0.2*Y+120*$sun)" "20+0.4*(r(X,Y)-40)" \
  "min(255,60+0.15*Y+110*$sun)" "30+0.6*(g(X,Y)-40)" "$horizon" \
  "max(0,170-0.12*Y+40*$sun)" "60+0.9*(b(X,Y)-20)"
