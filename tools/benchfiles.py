"""The files that tools/bench measures with. They are made once and kept."""
import shutil
import subprocess
import sys

FFMPEG = {
    "film": "-f lavfi -i color=black:s=16x16:r=25 -f lavfi -i anullsrc=r=44100:cl=mono -t {} -c:v mpeg4 -c:a libmp3lame "
            "-b:a 32k -compression_level 9",
    # Noise at the finest scale: frames of some hundred kilobytes.
    "payload": "-f lavfi -i nullsrc=s=1280x720:r=25,noise=alls=100:allf=t -frames:v {} -c:v mpeg4 -q:v 1",
    "opendml": "-f lavfi -i color=red:s=720x486:r=25 -frames:v {} -c:v rawvideo -pix_fmt bgr24",
}


class Sizes:
    """How large the files are: frames, bytes, seconds of film."""
    frames = 1_000_000
    dv = 1_000_000_000
    area = 64_000_000 # of unknown chunks, and of garbage between chunks
    no_riff = 1_000_000_000
    scaling = (10_000, 100_000, 1_000_000, 10_000_000)
    film = 7200
    opendml = 3000
    payload = 1000
    sparse = 100_000_000_000


class SmokeSizes(Sizes):
    """Everything runs; the figures mean nothing."""
    frames = 2000
    dv = 500_000
    area = 20_000
    no_riff = 100_000
    scaling = (1000, 2000)
    film = 2
    opendml = 4
    payload = 4
    sparse = 20_000_000


class Files:
    def __init__(self, directory, maker):
        """`maker` is the program make-benchmark-file."""
        self.directory, self.maker = directory, maker
        directory.mkdir(parents=True, exist_ok=True)

    def generated(self, kind, size):
        path = self.directory / f"{kind}-{size}.avi"
        if not path.exists():
            print(f"making {path.name}", file=sys.stderr)
            subprocess.run([self.maker, kind, str(size), path], check=True)
        return path

    def encoded(self, kind, size):
        """A file that ffmpeg makes; None where there is no ffmpeg."""
        path = self.directory / f"{kind}-{size}.avi"
        if not path.exists():
            if not shutil.which("ffmpeg"):
                print(f"{kind}: left out, there is no ffmpeg", file=sys.stderr)
                return None
            print(f"making {path.name}, which takes a minute or two", file=sys.stderr)
            unfinished = path.with_suffix(".unfinished")
            subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *FFMPEG[kind].format(size).split(), "-f", "avi",
                            unfinished], check=True)
            unfinished.rename(path)
        return path
