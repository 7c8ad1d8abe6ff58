# Sourced: makes movies whose frames carry their numbers as 12 bars, the lowest bit at the left.

numbers="color=black:s=24x18:r=25,geq=lum='if(mod(floor(N/pow(2,floor(X/2))),2),210,40)':cb=128:cr=128"

# numbered FRAMES SIZE OUT [FFMPEG OPTION...]
numbered() {
  local frames=$1 size=$2 out=$3
  shift 3
  ffmpeg -y -v error -f lavfi -i "$numbers,scale=$size:flags=neighbor" "$@" -frames:v "$frames" "$out"
}

# numbered_kinds FRAMES FOLDER: one movie of each kind.
numbered_kinds() {
  local frames=$1 folder=$2
  numbered "$frames" 720x576 "$folder/tape.avi" -c:v dvvideo -pix_fmt yuv420p
  numbered "$frames" 720x576 "$folder/tape.dv" -c:v dvvideo -pix_fmt yuv420p
  numbered "$frames" 720x480 "$folder/ntsc.avi" -c:v dvvideo -pix_fmt yuv411p -r 30000/1001 -vf setpts=N*1001/30000/TB
  numbered "$frames" 352x288 "$folder/program.mpg" -c:v mpeg2video -g 15 -bf 2 -b:v 2M -f vob
  numbered "$frames" 352x288 "$folder/system.mpg" -c:v mpeg1video -g 18 -bf 2 -b:v 1M -f mpeg
  numbered "$frames" 352x288 "$folder/transport.ts" -c:v mpeg2video -g 12 -bf 2 -b:v 2M
  numbered "$frames" 352x288 "$folder/stream.m2v" -c:v mpeg2video -g 15 -bf 2 -b:v 2M
  numbered "$frames" 352x288 "$folder/windows.wmv" -c:v wmv2 -g 50 -b:v 1M
  numbered "$frames" 352x288 "$folder/windows.asf" -c:v msmpeg4 -g 50 -b:v 1M
  numbered "$frames" 352x288 "$folder/h264.mp4" -c:v libx264 -preset veryfast -g 50 -bf 3
  numbered "$frames" 352x288 "$folder/h264.mkv" -c:v libx264 -preset veryfast -g 50 -bf 3
  numbered "$frames" 352x288 "$folder/mpeg4.avi" -c:v mpeg4 -g 25 -bf 2 -b:v 1M
  numbered "$frames" 352x288 "$folder/jpeg.avi" -c:v mjpeg -q:v 3
}

# small_kinds FOLDER: eight frames of each kind, with sound where the kind has it; files of DV are called tape.
small_kinds() {
  local folder=$1 sound="-f lavfi -i sine=500:r=48000 -shortest -ac 2"
  numbered 8 720x480 "$folder/tape_sound.avi" $sound -c:v dvvideo -pix_fmt yuv411p -r 30000/1001 \
    -vf "setpts=N*1001/30000/TB" -c:a pcm_s16le
  numbered 8 720x480 "$folder/tape_type2.avi" -c:v dvvideo -pix_fmt yuv411p -r 30000/1001 -vf "setpts=N*1001/30000/TB"
  sed 's/vidsdvsd/iavsdvsd/' "$folder/tape_type2.avi" >"$folder/tape_type1.avi"
  numbered 8 720x480 "$folder/tape.dv" -c:v dvvideo -pix_fmt yuv411p -r 30000/1001 -vf "setpts=N*1001/30000/TB"
  numbered 8 176x144 "$folder/program.mpg" $sound -c:v mpeg2video -c:a mp2 -f vob
  numbered 8 176x144 "$folder/transport.ts" $sound -c:v mpeg2video -c:a mp2
  numbered 8 176x144 "$folder/stream.m2v" -c:v mpeg2video
  numbered 8 176x144 "$folder/system.mpg" $sound -c:v mpeg1video -c:a mp2 -f mpeg
  numbered 8 176x144 "$folder/windows.wmv" $sound -c:v wmv2 -c:a wmav2
  numbered 8 176x144 "$folder/other.avi" $sound -c:v mpeg4 -c:a pcm_s16le
  numbered 8 176x144 "$folder/h264.mp4" $sound -c:v libx264 -c:a aac
}
