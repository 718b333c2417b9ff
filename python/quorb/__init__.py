"""Python access to libquorb, the in-memory store of satellite state vectors.

The shared library is taken from $QUORB_LIBRARY, from libquorb.so.1 beside
this package (where pip and cmake --install put it), or from the system's
library path.
"""
from . import names
from .bulk import add_arrays, to_arrays
from .epochs import ds50_to_epoch, epoch_to_datetime, epoch_to_ds50
from .errors import DuplicateError, InvalidValueError, NotStoredError, QuorbError
from .services import (KeyMode, Level, accepts_duplicates, all_key_mode, all_key_mode_in_use,
                       clear_all_key_mode, close_log, elset_key_mode, forward_to_logging,
                       last_error, last_info, open_log, set_accept_duplicates,
                       set_all_key_mode, set_elset_key_mode, set_sink)
from .store import (add, add_array, add_fields, add_lines, array_to_lines, count, data_to_array,
                    fields_to_lines, fields_to_sat_key, get_all_fields, get_field, get_lines,
                    get_loaded, info, init, lines_to_array, load_file, parse, remove,
                    remove_all, sat_key, save_file, set_field, update_array, update_fields)
from .vectors import (COVARIANCE_LENGTH, Controls, DroppedLine, Field, LoadResult, Order,
                      StateVector)

# The package and the library are built from one tree and share its version.
__version__ = info().split(" Version ")[1].split()[0]

__all__ = [
    "COVARIANCE_LENGTH", "Controls", "DroppedLine", "DuplicateError", "Field",
    "InvalidValueError", "KeyMode", "Level", "LoadResult", "NotStoredError", "Order",
    "QuorbError", "StateVector", "accepts_duplicates", "add", "add_array", "add_arrays",
    "add_fields", "add_lines", "all_key_mode", "all_key_mode_in_use", "array_to_lines",
    "clear_all_key_mode", "close_log", "count", "data_to_array", "ds50_to_epoch",
    "elset_key_mode", "epoch_to_datetime", "epoch_to_ds50", "fields_to_lines",
    "fields_to_sat_key", "forward_to_logging", "get_all_fields", "get_field", "get_lines",
    "get_loaded", "info", "init", "last_error", "last_info", "lines_to_array", "load_file",
    "names", "open_log", "parse", "remove", "remove_all", "sat_key", "save_file",
    "set_accept_duplicates", "set_all_key_mode", "set_elset_key_mode", "set_field", "set_sink",
    "to_arrays", "update_array", "update_fields",
]
