#!/usr/bin/env bash
# make_artwork.sh ARTWORK_FOLDER OUTPUT_FOLDER - makes the program's bitmaps and icon from their vector sources. The build
# runs it. Needs rsvg-convert (librsvg2-bin) and ImageMagick's convert.
set -euo pipefail
artwork=$1
output=$2
mkdir -p "$output"

# bitmap NAME WIDTH HEIGHT - 24 bits a pixel, in the form that every Windows loads.
bitmap() {
    rsvg-convert --width "$2" --height "$3" "$artwork/$1.svg" --output "$output/$1.png"
    convert "$output/$1.png" -background white -alpha remove -alpha off -type TrueColor "BMP3:$output/$1.bmp"
}

bitmap splash 640 192
bitmap success 36 35
bitmap warnings 34 33
bitmap failure 34 32

# Small sizes have a drawing of their own: the strokes of the large one would run together.
sizes=()
for size in 16 20 24 32 48 64 128 256; do
    source=program
    [ "$size" -gt 32 ] || source=program_small
    rsvg-convert --width "$size" --height "$size" "$artwork/$source.svg" --output "$output/program_$size.png"
    sizes+=("$output/program_$size.png")
done
convert "${sizes[@]}" "$output/program.ico"
