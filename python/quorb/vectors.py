"""State vectors as Python values, field indices, key orders and the array form."""
from __future__ import annotations

import ctypes
import dataclasses
import datetime
import math
from dataclasses import dataclass

from . import bindings
from .epochs import ds50_to_epoch, epoch_to_datetime, epoch_to_ds50
from .names import ArrayPosition as _At
from .names import Field, LoadReportKind, Order

ARRAY_LENGTH = int(_At.SIZE)
COVARIANCE_LENGTH = ARRAY_LENGTH - _At.COVARIANCE


@dataclass
class Controls:
    """Propagation controls, as the array form carries them."""

    ctrl4: int = 12
    geopot_flag: int = 0
    drag_model: int = 0
    rad_pres_flag: int = 0
    lunar_solar_flag: int = 0
    f10: int = 0
    f10_bar: int = 0
    ap: int = 0
    geopot_zonal_deg: int = 0
    err_ctrl_exp: int = 10
    in_track_thrust_flag: int = 0
    solid_earth_tides_flag: int = 0
    nut_terms: int = 0
    ctrl21: int = 0
    integ_var: int = 0
    step_mode: int = 0
    step_size: float = 0.0


@dataclass(kw_only=True)
class StateVector:
    """One satellite state vector: position (km), velocity (m/s) and its fields.

    ``controls`` and ``covariance`` travel only through the array form.
    """

    pos: tuple[float, float, float]
    vel: tuple[float, float, float]
    sec_class: str = "U"
    sat_num: int
    intl_desig: str = ""
    epoch: str
    rev_num: int = 0
    elset_num: int = 0
    b_term: float = 0.0
    agom: float = 0.0
    in_track_thrust: float = 0.0
    coord_sys: str = ""
    controls: Controls | None = None
    covariance: tuple[float, ...] | None = None

    @property
    def epoch_datetime(self) -> datetime.datetime:
        """The epoch as an aware datetime in UTC (to the microsecond)."""
        return epoch_to_datetime(self.epoch)


@dataclass(frozen=True)
class DroppedLine:
    """An input line that added no vector, and why."""

    kind: LoadReportKind
    file: str
    line: int  # from 1; 0 for a whole file
    message: str  # the library's line about it, '' when it wrote none


@dataclass(frozen=True)
class LoadResult:
    """What a load did: its totals line's counts, its status and every line
    that added no vector."""

    total: int
    loaded: int
    duplicate: int
    bad: int
    status: int  # what QuorbLoadFile returned
    dropped: tuple[DroppedLine, ...]


_CONTROLS_FLAG = _At.CONTROLS_FLAG
_CONTROL_POSITIONS = (*range(_At.CONTROLS, _At.CONTROLS + 12),  # the two groups of controls
                      *range(_At.CONTROLS_MORE, _At.CONTROLS_MORE + 5))
_COVARIANCE_START = _At.COVARIANCE
_POS, _VEL = _At.POS, _At.VEL
_COORD_SYS_CODES = {"TMDAT": 1, "TMEPO": 1, "MMB50": 2, "MMJ2K": 2, "": 0}
_COORD_SYS_OF_CODE = {1.0: "TMDAT", 2.0: "MMJ2K"}

def new_array() -> ctypes.Array:
    """An array whose every position is NaN, to tell written positions from the rest."""
    return (ctypes.c_double * ARRAY_LENGTH)(*[math.nan] * ARRAY_LENGTH)


def to_array(vector: StateVector) -> tuple[ctypes.Array, ctypes.Array]:
    """The array form of a vector: the doubles and the 512-byte companion text."""
    code = _COORD_SYS_CODES.get(vector.coord_sys.strip())
    if code is None:
        raise ValueError(f"the array form has no code for coordinate system {vector.coord_sys!r}")
    if len(vector.sec_class) != 1 or len(vector.intl_desig) > bindings.INTL_DESIG_LENGTH:
        raise ValueError("sec_class is one character and intl_desig at most eight")
    if vector.covariance is not None and vector.controls is None:
        raise ValueError("a covariance travels in the array form only with controls")
    xa = (ctypes.c_double * ARRAY_LENGTH)()
    xa[_At.SAT_NUM:_At.COORD_SYS + 1] = [vector.sat_num, epoch_to_ds50(vector.epoch), vector.rev_num, vector.elset_num,
               vector.b_term, vector.agom, vector.in_track_thrust, code]
    xa[_POS:_POS + 3] = list(vector.pos)
    xa[_VEL:_VEL + 3] = list(vector.vel)
    if vector.controls is not None:
        xa[_CONTROLS_FLAG] = 1
        for position, value in zip(_CONTROL_POSITIONS, dataclasses.astuple(vector.controls)):
            xa[position] = value
    if vector.covariance is not None:
        if len(vector.covariance) != COVARIANCE_LENGTH:
            raise ValueError(f"a covariance has {COVARIANCE_LENGTH} values")
        xa[_COVARIANCE_START:ARRAY_LENGTH] = list(vector.covariance)
    xs = bindings.text_in(f"{vector.sec_class}{vector.intl_desig:8}", bindings.LINE_LENGTH)
    return xa, xs


def from_array(xa: ctypes.Array, xs: ctypes.Array) -> StateVector:
    """The vector of an array filled by the library (see new_array)."""
    text = bindings.read_out(xs).ljust(9)
    controls = None
    if not math.isnan(xa[_CONTROL_POSITIONS[0]]):
        values = [xa[position] for position in _CONTROL_POSITIONS]
        controls = Controls(*map(int, values[:-1]), step_size=values[-1])
    covariance = None
    if not math.isnan(xa[_COVARIANCE_START]):
        covariance = tuple(xa[_COVARIANCE_START:ARRAY_LENGTH])
    return StateVector(
        pos=tuple(xa[_POS:_POS + 3]), vel=tuple(xa[_VEL:_VEL + 3]), sec_class=text[0],
        sat_num=int(xa[_At.SAT_NUM]), intl_desig=text[1:9].rstrip(),
        epoch=ds50_to_epoch(xa[_At.EPOCH]), rev_num=int(xa[_At.REV_NUM]),
        elset_num=int(xa[_At.ELSET_NUM]), b_term=xa[_At.B_TERM], agom=xa[_At.AGOM],
        in_track_thrust=xa[_At.IN_TRACK_THRUST],
        coord_sys=_COORD_SYS_OF_CODE.get(xa[_At.COORD_SYS], ""),
        controls=controls, covariance=covariance)
