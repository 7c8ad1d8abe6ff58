# Movies written: what other programs read of them, past 1 and 2 GB, of killed writers and on full disks.
qv="$release/bin/qv"
export QVLIBS_HOME="$work/home"
mkdir -p "$work/tape"
cd "$work"

differs() { echo "DIFFERS: $1"; exit 1; }
# same WHAT FOUND WANTED
same() {
  [ "$2" = "$3" ] || differs "$1: \"$2\" instead of \"$3\""
  echo "$1: $2"
}
frames_by_ffprobe() {
  ffprobe -v error -count_packets -select_streams v -show_entries stream=nb_read_packets -of csv=p=0 "$1"
}

# What a written movie reads as. Two pictures with a date, one without; the labels and dates are dvgrab's own reading
# of the packs in the frames; where there is no date it takes the day's.
ffmpeg -nostdin -y -v error -f lavfi -i testsrc2=s=1600x1200 -frames:v 1 a.jpg
ffmpeg -nostdin -y -v error -f lavfi -i smptebars=s=1600x1200 -frames:v 1 b.jpg
ffmpeg -nostdin -y -v error -f lavfi -i rgbtestsrc=s=1600x1200 -frames:v 1 c.png
exiv2 -M"set Exif.Photo.DateTimeOriginal Ascii '2005:12:24 18:30:59'" a.jpg
exiv2 -M"set Exif.Photo.DateTimeOriginal Ascii '2024:02:29 07:08:09'" b.jpg
for system in pal ntsc; do
  "$qv" movie -q -o $system.avi a.jpg b.jpg c.png --seconds 5 --system $system
  if [ $system = pal ]; then
    height=576 rate=25/1 total=375 samples=720000 standard=PAL second=00.00.05.00 firstLabel=00:00:00:00
  else # frames 150 and 300 begin the second and third picture: five frames a second of which none is left out
    height=480 rate=30000/1001 total=450 samples=720720 standard=NTSC second=00.00.05.00 firstLabel='00:00:00;00'
  fi
  same "$system, ffprobe" "$(ffprobe -v error -count_packets -select_streams v -show_entries \
    stream=codec_name,codec_tag_string,width,height,display_aspect_ratio,avg_frame_rate,nb_frames,nb_read_packets \
    -of csv=p=0 $system.avi)" "dvvideo,dvsd,720,$height,4:3,$rate,$total,$total"
  same "$system sound, ffprobe" "$(ffprobe -v error -select_streams a -show_entries \
    stream=codec_name,sample_rate,channels,nb_frames -of csv=p=0 $system.avi)" "pcm_s16le,48000,2,$samples"
  same "$system, mediainfo" "$(mediainfo --Output="Video;%Format%,%CodecID%,%Width%,%Height%,%DisplayAspectRatio%,\
%FrameCount%,%Standard%,%ScanType%,%TimeCode_FirstFrame%" $system.avi),$(mediainfo --Output="General;%Recorded_Date%" $system.avi)" \
    "DV,dvsd,720,$height,1.333,$total,$standard,Interlaced,$firstLabel,2005-12-24 18:30:59.000"
  # Every frame in ffmpeg's order, cut by dvgrab where a recording starts.
  ffmpeg -nostdin -y -v error -i $system.avi -map 0:v -c copy -f rawvideo $system.dv
  # On a busy machine dvgrab may pass over the first frames, before it has begun to grab: then it is asked again.
  for attempt in 1 2 3; do
    (cd tape && rm -f ./* && timeout 60 dvgrab -input ../$system.dv -autosplit -timestamp -timecode -format raw grab- \
      </dev/null >log 2>&1) \
      || { cat tape/log; differs "$system: dvgrab fails"; }
    [ "$(cat tape/*.dv | wc -c)" = "$(stat -c %s $system.dv)" ] && break
  done
  echo "$system, dvgrab: $(cd tape && ls *.dv | tr '\n' ' ')"
  same "$system, files that dvgrab makes by recordings" "$(ls tape/*.dv | wc -l)" 3
  ls tape | grep -q '2005.12.24_18-30-59--00.00.00.00' || differs "$system: first date or label of dvgrab"
  ls tape | grep -q "2024.02.29_07-08-09--$second" || differs "$system: second date or label of dvgrab"
  cat tape/*.dv | cmp - $system.dv || differs "$system: frames that dvgrab copies"
  rm -f tape/* $system.dv
done

# Past 1 and 2 GB: more than two OpenDML segments.
"$qv" movie -q -o long.avi a.jpg b.jpg --seconds 301 --system ntsc
wanted=18042
same "long movie of $(stat -c %s long.avi) bytes, frames by ffprobe" "$(frames_by_ffprobe long.avi)" $wanted
same "long movie, OpenDML by mediainfo" "$(mediainfo --Output="General;%Format_Profile%,%Format%" long.avi)" "OpenDML,AVI"
same "long movie, frames by mediainfo" "$(mediainfo --Output="Video;%FrameCount%" long.avi)" $wanted
same "long movie, frames by qv info" \
  "$("$qv" info --json long.avi | python3 -c 'import json,sys; print(json.load(sys.stdin)[0]["frames"])')" $wanted
# Each frame carries its number as its label, so frames in a wrong place would show.
same "long movie, running labels by ffmpeg's reading of the frames" "$(ffmpeg -nostdin -v error -i long.avi -map 0:v -c copy -f rawvideo - |
  "$qv" dvlog - --json | python3 -c '
import json, sys
log = json.load(sys.stdin)
print(",".join("%s+%d" % (s["timecode"]["first"], s["frames"]) for s in log["scenes"]))')" "00:00:00;00+9021,00:05:01;01+9021"
rm long.avi

# Killed writers, judged by ffprobe too.
rounds=20 least=1000000 most=0
for ((i = 0; i < rounds; ++i)); do
  "$qv" movie -q -o killed.avi c.png --seconds 600 --system pal &
  writer=$!
  sleep 0.$((1 + i % 4))$((i % 10))
  kill -9 $writer
  wait $writer 2>/dev/null || true
  left=$(ls .qv-*.avi 2>/dev/null || true)
  [ -n "$left" ] || continue
  if [ -s "$left" ]; then
    ours=$("$qv" dvlog -q "$left" --json | python3 -c 'import json,sys; print(json.load(sys.stdin)["totals"]["frames"])')
    theirs=$(frames_by_ffprobe "$left")
    # ffprobe counts a frame that is there in part; we do not.
    [ "$theirs" = "$ours" ] || [ "$theirs" = $((ours + 1)) ] || differs "killed movie: $ours frames here, $theirs by ffprobe"
    least=$((ours < least ? ours : least)) most=$((ours > most ? ours : most))
  fi
  rm "$left"
  [ ! -e killed.avi ] || differs "a killed writer's movie has the name of a whole one"
done
echo "$rounds writers killed: $least to $most whole frames, the same by ffprobe"

export QVLIBS_TEST_FULL=1
results="$work/results"
"$release/tests/dv_writer_test" --gtest_filter='*Killed*:*FullDisk*' >"$results" || { cat "$results"; exit 1; }
grep -E "^[0-9]+ (killed|full)" "$results"

# A real full disk, where one can be mounted.
mkdir -p small
if unshare -Urm true 2>/dev/null; then
  outcome=$(unshare -Urm bash -c '
    mount -t tmpfs -o size=8m none small || exit 9
    "$1" movie -q -o small/out.avi c.png --system pal 2>&1; echo "code $?, $(ls -A small | wc -l) files left"' bash "$qv") || true
  echo "disk of 8 MB: $outcome"
  [[ "$outcome" == *"code 1, 0 files left"* ]] || differs "full disk"
else
  echo "disk of 8 MB: none can be mounted here"
fi
