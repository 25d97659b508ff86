"""What experiments share: the build, a document to print, rows of the table."""
import ctypes, os, pathlib, random, signal, subprocess, sys, time, zlib

TOP = pathlib.Path(__file__).resolve().parent.parent
BUILD = TOP / 'build' / os.environ.get('BUILD', 'dev')
BIN = BUILD / 'bin'
CANNOT = 77


def seconds():
    return float(sys.argv[1]) if len(sys.argv) > 1 else 60.0


def build(*targets):
    """The programs as the sources are now."""
    if not (BUILD / 'build.ninja').exists():
        subprocess.run(['cmake', '--preset', BUILD.name], cwd=TOP, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(['cmake', '--build', BUILD, '--target', *targets], check=True, stdout=subprocess.DEVNULL)


def cannot(why):
    print(why)
    sys.exit(CANNOT)


def with_own_mounts():
    """Starts this process anew where its file systems are seen by nobody else and go with it."""
    if os.environ.get('KV_OWN_MOUNTS'):
        return
    if os.geteuid() != 0:
        cannot('only root can mount file systems')
    os.environ['KV_OWN_MOUNTS'] = '1'
    os.execvp('unshare', ['unshare', '--mount', '--propagation', 'private', sys.executable, *sys.argv])


class Rows:
    """The table's lines, and how many of their promises were broken."""

    def __init__(self):
        self.broken = 0

    def add(self, promise, how, figure, faults=()):
        for fault in list(faults)[:20]:
            print(f'BROKEN: {fault}')
        if faults:
            self.broken += 1
            figure = f'{len(faults)} times not, of {figure}'
        print('\t'.join(['broken' if faults else 'row', promise, how, figure]), flush=True)

    def end(self):
        sys.exit(1 if self.broken else 0)


def sample_pdf(path, pages=2, noise=0, name=b'Sample'):
    """Pages of text, lines and fills; noise: bytes of a picture that does not compress, on the first page."""
    pixels = random.Random(1).randbytes(noise)
    side = max(1, int(noise ** 0.5))
    text = b' '.join(b'(Line %d of what somebody prints) Tj 0 -15 Td' % n for n in range(1, 31))
    content = zlib.compress(b'q 200 0 0 200 300 60 cm /I Do Q 0.2 0.4 0.6 rg 20 20 60 60 re f 90 90 m 200 300 l S '
                            b'BT /F 11 Tf 72 740 Td ' + text + b' ET')
    objects = [b'<</Type/Catalog/Pages 2 0 R>>',
               b'<</Type/Pages/Count %d/Kids[%s]>>' % (pages, b' '.join(b'%d 0 R' % (6 + n) for n in range(pages))),
               b'<</Type/Font/Subtype/Type1/BaseFont/Helvetica>>',
               b'<</Type/XObject/Subtype/Image/Width %d/Height %d/ColorSpace/DeviceGray/BitsPerComponent 8/Length %d>>'
               b'stream\n%s\nendstream' % (side, max(1, noise // side), max(1, noise), pixels or b'x'),
               b'<</Length %d/Filter/FlateDecode>>stream\n%s\nendstream' % (len(content), content)]
    page = b'<</Type/Page/Parent 2 0 R/MediaBox[0 0 595 842]/Contents 5 0 R/Resources<</Font<</F 3 0 R>>/XObject<</I 4 0 R>>>>>>'
    objects += [page] * pages
    data, places = bytearray(b'%PDF-1.4\n'), []
    for number, each in enumerate(objects, 1):
        places.append(len(data))
        data += b'%d 0 obj' % number + each + b'endobj\n'
    start = len(data)
    data += b'xref\n0 %d\n0000000000 65535 f \n' % (len(objects) + 1)
    data += b''.join(b'%010d 00000 n \n' % place for place in places)
    data += b'trailer<</Size %d/Root 1 0 R>>\nstartxref\n%d\n%%%%EOF\n' % (len(objects) + 1, start)
    pathlib.Path(path).write_bytes(data)


def own_home(folder):
    """The environment of a user whose files are all below the folder, and whose dispatcher does not linger."""
    folder = pathlib.Path(folder)
    for name in ('data', 'config/karvo', 'run', 'temp'):
        (folder / name).mkdir(parents=True, exist_ok=True, mode=0o700)
    (folder / 'config/karvo/kvdisp12.conf').write_text(f'idle = 100ms\nmin-free = 1\nlog = {folder}/log\n')
    return {**os.environ, 'XDG_DATA_HOME': f'{folder}/data', 'XDG_CONFIG_HOME': f'{folder}/config',
            'XDG_RUNTIME_DIR': f'{folder}/run', 'TMPDIR': f'{folder}/temp'}


def adopt_orphans():
    """What a child started and left becomes this process's child."""
    set_child_subreaper = 36
    ctypes.CDLL(None).prctl(set_child_subreaper, 1, 0, 0, 0)


def wait_for_orphans(patience=30):
    """Whether all have ended; those that have not are killed."""
    end = time.monotonic() + patience
    while True:
        try:
            if os.waitpid(-1, os.WNOHANG)[0] == 0:
                if time.monotonic() >= end:
                    children = pathlib.Path('/proc/self/task', str(os.getpid()), 'children').read_text().split()
                    for child in children:
                        os.kill(int(child), signal.SIGKILL)
                    return False
                time.sleep(0.01)
        except ChildProcessError:
            return True


def files_below(folder):
    return [path for path in sorted(pathlib.Path(folder).rglob('*')) if path.is_file() and not path.is_symlink()]


def open_to_others(paths):
    """Those that somebody else could read where their folders let him through."""
    return [path for path in paths if path.stat().st_mode & 0o044]
