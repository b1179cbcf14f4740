"""Image cut-out with numpy arrays: soft alpha mattes, foreground colours,
GrabCut selections and mask tools, and batches over folders on a Dask cluster.

Images are H x W x 3 ``uint8`` RGB arrays; trimaps, marks and alphas are
H x W ``uint8`` arrays (H x W x 1 is taken too), with any strides. Every
function returns new C-contiguous arrays and never changes its inputs. Calls
run one at a time in the process and release the GIL while the library works.

Errors: bad arguments (shapes, dtypes, sizes that differ, points or rectangles
outside the image, a trimap that leaves nothing to solve, unknown names)
raise ``ValueError`` before any work; a failure inside the library raises
:class:`Error` (``.code``, ``.function``), and memory that ran out
:class:`OutOfMemoryError`, which is also a ``MemoryError``.
"""
from __future__ import annotations

from typing import TYPE_CHECKING, Any, Callable, Literal, Optional, Tuple, Union

from . import _errors, _native
from ._batch import BatchReport, BatchRow, batch
from ._errors import Error, OutOfMemoryError

if TYPE_CHECKING:
    import numpy as np
    import numpy.typing as npt

    UInt8Array = npt.NDArray[np.uint8]

__version__: str = _native.__version__

# The route the last matte() or cutout() took and why ("pieces: ...",
# "half-tiles: ..."); a reduced working scale is also said with a UserWarning.
last_route: str = ""

__all__ = [
    "Error", "OutOfMemoryError", "GrabCut", "BatchReport", "BatchRow", "__version__", "last_route",
    "matte", "foreground", "cutout", "grabcut", "show", "fill", "stretch", "smooth", "level", "batch",
]

# What the array arguments accept: numpy arrays, or anything with the array
# interface (PIL images among them).
ArrayLike = Any
Progress = Optional[Callable[[int, int], object]]
Point = Tuple[int, int]
Rect = Tuple[int, int, int, int]


def matte(image: ArrayLike, trimap: ArrayLike, *, unknown: Optional[float] = None,
          method: Literal["accurate", "design"] = "accurate", progress: Progress = None) -> UInt8Array:
    """Soft alpha matte of an image from a trimap.

    image: H x W x 3 uint8 RGB. trimap: H x W uint8: 0 background, 255
    foreground, anything else unknown. unknown: None (the default) lets the
    road choose the most accurate route that fits in memory, at full size
    whenever one exists (qxmatte.last_route names it; a reduced scale is said
    with a UserWarning); a number of pixels instead goes straight to the
    library's matte, which takes it as its unknown estimate to decide the
    working scale. method: "accurate" (the default: colour sampling fixes
    the pixels it is sure of before the solve, and takes over where the solve
    fades long faint strands) or "design" (the library's solve alone).
    progress: None or a callable
    progress(value, total), called from the library's threads while the
    solve runs; an exception it raises is raised when the call returns.

    Returns a new H x W uint8 alpha.

    Raises ValueError for wrong shapes or dtypes, sizes that differ, a
    negative or non-finite unknown, and a trimap with no background, no
    foreground or nothing unknown (in the command-line tool's words);
    TypeError for a progress that is not callable; qxmatte.Error when the
    library fails, e.g. code -1001 when the unknown region is too large for
    one solve (cutout() takes any size); qxmatte.OutOfMemoryError when memory
    runs out.
    """
    return _native.matte(image, trimap, unknown=unknown, method=method, progress=progress)


def foreground(image: ArrayLike, alpha: ArrayLike, *, method: Literal["full", "design", "cell"] = "full",
               progress: Progress = None) -> UInt8Array:
    """True colours of the foreground under an alpha: the background that
    shows through soft edges is taken out.

    image: H x W x 3 uint8 RGB. alpha: H x W uint8. method: "full" (a fast
    full-resolution estimate, the default and usually the closest), "design"
    (the library's reduced-scale recovery) or "cell" (the library's cell
    recovery, faded into the image at the edges). progress: as for matte().

    Returns a new H x W x 3 uint8 RGB array.

    Raises ValueError for wrong shapes, dtypes, sizes or method names;
    qxmatte.Error / qxmatte.OutOfMemoryError as matte() does.
    """
    return _native.foreground(image, alpha, method=method, progress=progress)


def cutout(image: ArrayLike, marks: ArrayLike, *, colours: Union[bool, Literal["full", "design"]] = True,
           half: bool = False, method: Literal["accurate", "design"] = "accurate",
           progress: Progress = None, edit: Optional[Rect] = None,
           previous: Optional[ArrayLike] = None, border: int = 8,
           only: Optional[Literal["add", "remove"]] = None) -> UInt8Array:
    """A cut-out at any image size: the alpha by the same road as matte()
    (the most accurate route that fits, at full size whenever one exists;
    qxmatte.last_route names it), with the colours and alpha as one RGBA image.

    image: H x W x 3 uint8 RGB. marks: H x W uint8 trimap: 0 (or 1) background,
    255 foreground, anything else unknown (as grabcut() returns it).
    colours: True or "full" recovers the true colours at the soft edges by
    the full-resolution estimate, "design" by the library's own recovery,
    False keeps the image's colours. half: solve a half-size copy and bring it
    up guided by the image (about twice as fast). method: as for matte() (an
    edit always solves as "design"). progress: as for matte(),
    through the solve and then the colours, each counting to its own total.

    edit=(x, y, width, height) with previous (an earlier H x W x 4 uint8
    cut-out) solves only that rectangle again, inside a frame of border
    pixels (1 to 1000) of its old alpha; only="remove" keeps the lower alpha
    of old and new, "add" the higher, None the new.

    Returns a new H x W x 4 uint8 RGBA array, the alpha in the fourth channel.

    Raises ValueError for wrong shapes, dtypes, sizes, names, an edit outside
    the image or without previous; qxmatte.Error when the library fails;
    qxmatte.OutOfMemoryError when memory runs out (in the library or in the
    buffers around it).
    """
    return _native.cutout(image, marks, colours=colours, half=half, method=method, progress=progress, edit=edit,
                          previous=previous, border=border, only=only)


def show(image: ArrayLike, mask: ArrayLike,
         mode: Literal["tint", "classes", "over", "overlay", "grey"], *,
         colour: Union[str, Tuple[int, int, int]] = "FFFFFF", low: int = 0, high: int = 255) -> UInt8Array:
    """A picture of marks, a trimap or an alpha over the image, to check them
    before a long solve.

    image: H x W x 3 uint8 RGB. mask: H x W uint8. mode: "tint" (image
    darkened, soft values blue, fixed cut red, fixed keep (255) green, other
    fixed odd values yellow), "classes" (0 red, 255 green, anything else
    blue), "over" (the image over colour by the mask), "overlay" (colour over
    the image by the mask) or "grey" (the mask itself). colour: "RRGGBB" or
    (r, g, b) for over and overlay. low, high: for over, overlay and grey the
    mask is first stretched so that low counts as 0 and high as 255.

    Returns a new H x W x 3 uint8 RGB array.

    Raises ValueError for wrong shapes, dtypes, sizes, an unknown mode, a
    bad colour or low not below high.
    """
    return _native.show(image, mask, mode, colour=colour, low=low, high=high)


def fill(marks: ArrayLike, seed: Point, as_: Literal["cut", "keep", "unknown"]) -> Tuple[UInt8Array, Rect]:
    """Flood fill: the 8-connected region of the seed's class (fixed cut,
    fixed keep 255, or anything else) takes the class as_: "cut" (1), "keep"
    (255) or "unknown" (126).

    marks: H x W uint8. seed: (x, y) inside them.

    Returns a new marks array and the rectangle (x, y, width, height) the
    fill changed: all zero when the seed already had the class, the whole
    image for "unknown".

    Raises ValueError for a seed outside the marks, an unknown class or a
    wrong array.
    """
    out, rect = _native.fill(marks, seed, as_)
    return out, (rect[0], rect[1], rect[2], rect[3])


def stretch(alpha: ArrayLike, low: int, high: int, *, protect: bool = False) -> UInt8Array:
    """Stretch an alpha from [low, high] to [0, 255]: low and below become 0,
    high and above about 255 (0 <= low < high <= 255).

    alpha: H x W uint8. protect: keep odd (fixed) values as they are and the
    stretched values even (soft).

    Returns a new H x W uint8 array. Raises ValueError for bounds out of
    0 to 255 or low not below high, or a wrong array.
    """
    return _native.stretch(alpha, low, high, protect=protect)


def smooth(mask: ArrayLike, *, strength: Literal[0, 1] = 0) -> UInt8Array:
    """Smooth a mask: a cross-shaped median, then a 5 x 5 Gaussian. strength
    0: 3 x 3 median, a border of 3 pixels left as it was; 1: 5 x 5 median,
    4 pixels.

    mask: H x W uint8. Returns a new H x W uint8 array. Raises ValueError for
    another strength or a wrong array.
    """
    return _native.smooth(mask, strength=strength)


def level(image: ArrayLike, target: int, *,
          show: Literal["image", "luma", "chroma", "cb", "cr"] = "image") -> UInt8Array:
    """A levelled preview: the image brightened (never darkened), or one of
    its components levelled around mid-grey.

    image: H x W x 3 uint8 RGB. target: 0 to 255, the wanted mean of the
    strongest channel (image, luma) or mean distance from mid-grey (chroma,
    cb, cr); 1 or less: no levelling. show: "image", "luma", "chroma", "cb"
    or "cr".

    Returns a new H x W x 3 uint8 RGB array. Raises ValueError for a target
    outside 0 to 255, an unknown show or a wrong array.
    """
    return _native.level(image, target, show=show)


def grabcut(image: ArrayLike, rect: Optional[Rect] = None, marks: Optional[ArrayLike] = None, *,
            band: Optional[int] = None, iterations: int = 1) -> UInt8Array:
    """A trimap from a rectangle around the object, by GrabCut.

    image: H x W x 3 uint8 RGB. rect: (x, y, width, height) around the
    object, inside the image, longer side at least 101 pixels (default: the
    whole image); outside it is background, so leave a margin. A rectangle
    longer than 3199 pixels is worked on as a reduced copy. marks: optional
    H x W uint8: 0 or 1 certain background, 255 certain foreground, anything
    else no mark. band: width in pixels of the unknown band along the
    selection's edge (default: 1% of the image's larger side, at least 4).
    iterations: GrabCut passes, as after each stroke.

    Returns a new H x W uint8 trimap (0, 128, 255) for matte() and cutout().

    Raises ValueError for a rectangle outside the image or too small, a
    negative band, iterations below 1 or a wrong array; qxmatte.Error /
    qxmatte.OutOfMemoryError when the library fails.
    """
    return _native.grabcut(image, rect, marks, band=band, iterations=iterations)


class GrabCut:
    """An interactive GrabCut session: add strokes, run a pass, look at the
    selection, repeat; take a trimap at any point.

    image: H x W x 3 uint8 RGB. rect: (x, y, width, height) around the
    object (default: the whole image); its longer side must be 101 to 3199
    pixels. marks: as for grabcut(). Strokes take points (x, y) inside the
    image; a point outside raises ValueError. Close the session with close()
    or a with block; methods of a closed session raise ValueError.
    """

    def __init__(self, image: ArrayLike, rect: Optional[Rect] = None, marks: Optional[ArrayLike] = None) -> None:
        self._session = _native.GrabCut(image, rect, marks)

    def keep(self, start: Point, end: Optional[Point] = None, *, radius: int = 3) -> None:
        """Mark a stroke from start (x, y) to end (default: a dot at start),
        2 * radius + 1 wide, as certain foreground. Raises ValueError for a
        point outside the image or a negative radius."""
        self._session.keep(start, end, radius=radius)

    def cut(self, start: Point, end: Optional[Point] = None, *, radius: int = 3) -> None:
        """Mark a stroke as certain background (arguments as for keep())."""
        self._session.cut(start, end, radius=radius)

    def erase(self, start: Point, end: Optional[Point] = None, *, radius: int = 3) -> None:
        """Remove the marks under a stroke (arguments as for keep())."""
        self._session.erase(start, end, radius=radius)

    def run(self, iterations: int = 1) -> UInt8Array:
        """GrabCut passes over the rectangle with the current marks; returns
        the selection as a new H x W uint8 array (0 outside, 255 inside, soft
        between). Raises ValueError for iterations below 1, qxmatte.Error when
        the library fails."""
        return self._session.run(iterations)

    @property
    def selection(self) -> UInt8Array:
        """The selection of the last pass, as run() returns it."""
        return self._session.selection

    def trimap(self, band: Optional[int] = None) -> UInt8Array:
        """The current selection as an H x W uint8 trimap (0, 128, 255) with
        an unknown band along its edge, as grabcut() returns it; runs a first
        pass if none ran yet. The session stays open."""
        return self._session.trimap(band)

    def close(self) -> None:
        """End the session and free it. Closing twice is harmless."""
        self._session.close()

    @property
    def closed(self) -> bool:
        """Whether close() was called."""
        return bool(self._session.closed)

    @property
    def rect(self) -> Rect:
        """(x, y, width, height) of the session."""
        r = self._session.rect
        return (r[0], r[1], r[2], r[3])

    def __enter__(self) -> "GrabCut":
        return self

    def __exit__(self, *exc: object) -> Literal[False]:
        self.close()
        return False

