"""The numbers hosts pass and receive, named as the C headers name them
(quorb.h and quorb_services.h); a test holds the two against each other."""
from __future__ import annotations

from enum import IntEnum


class Status(IntEnum):
    OK = 0
    FAILED = 2


class KeyResult(IntEnum):
    DUPLICATE = 0  # a duplicate the store refused
    NONE = -1  # invalid input, or no key could be made or found


class TextSize(IntEnum):
    LINE_LENGTH = 512
    INFO_LENGTH = 128
    EPOCH_LENGTH = 17
    KEY_EPOCH_LENGTH = 20
    INTL_DESIG_LENGTH = 8
    COORD_SYS_LENGTH = 5


class Order(IntEnum):
    """Orders of get_loaded."""

    SAT_NUM_EPOCH = 0
    SAT_NUM_EPOCH_REVERSED = 1
    LOAD = 2
    KEY = 3


class Field(IntEnum):
    """Field indices of get_field and set_field."""

    POS_X = 1
    POS_Y = 2
    POS_Z = 3
    VEL_X = 4
    VEL_Y = 5
    VEL_Z = 6
    SEC_CLASS = 7
    SAT_NUM = 9
    INTL_DESIG = 10
    EPOCH = 11
    REV_NUM = 12
    ELSET_NUM = 13
    B_TERM = 14
    AGOM = 15
    IN_TRACK_THRUST = 16
    COORD_SYS = 17


class ArrayPosition(IntEnum):
    """Positions of the array form."""

    SAT_NUM = 0
    EPOCH = 1
    REV_NUM = 2
    ELSET_NUM = 3
    B_TERM = 4
    AGOM = 5
    IN_TRACK_THRUST = 6
    COORD_SYS = 7
    POS = 20
    VEL = 23
    CONTROLS_FLAG = 70
    CONTROLS = 71
    CONTROLS_MORE = 84
    COVARIANCE = 100
    SIZE = 155


class LoadReportKind(IntEnum):
    """What a load report entry tells."""

    END = 0
    REJECTED = 1
    NO_1P = 2
    NO_2P = 3
    NO_KEY = 4
    DUPLICATE = 5
    NOT_STORED = 6
    UNRECOGNISED = 7
    NOT_OPENED = 8
    KEYED_UNUSED = 9
    MANEUVER_DROPPED = 10


# The prefix each enumeration's names carry in the C headers.
HEADER_PREFIXES = (("QUORB_", Status), ("QUORB_KEY_", KeyResult), ("QUORB_", TextSize),
                   ("QUORB_ORDER_", Order), ("QUORB_FIELD_", Field), ("QUORB_XA_", ArrayPosition),
                   ("LOAD_REPORT_", LoadReportKind))
