"""Python access to libquorb, the in-memory store of satellite state vectors.

The shared library is taken from $QUORB_LIBRARY, from libquorb.so.1 beside
this package, or from the system's library path.
"""
from .epochs import ds50_to_epoch, epoch_to_ds50
from . import names
from .errors import DuplicateError, QuorbError
from .services import (KeyMode, Level, accepts_duplicates, all_key_mode, all_key_mode_in_use,
                       clear_all_key_mode, close_log, elset_key_mode, forward_to_logging,
                       last_error, last_info, open_log, set_accept_duplicates,
                       set_all_key_mode, set_elset_key_mode, set_sink)
from .store import (add, add_array, add_fields, add_lines, array_to_lines, count, data_to_array,
                    fields_to_lines, fields_to_sat_key, get_all_fields, get_field, get_lines,
                    get_loaded, info, init, lines_to_array, load_file, parse, remove,
                    remove_all, sat_key, save_file, set_field, update_array, update_fields)
from .vectors import COVARIANCE_LENGTH, Controls, Field, Order, StateVector

__all__ = [
    "COVARIANCE_LENGTH", "Controls", "DuplicateError", "Field", "KeyMode", "Level", "Order",
    "QuorbError", "StateVector", "accepts_duplicates", "add", "add_array", "add_fields",
    "add_lines", "all_key_mode", "all_key_mode_in_use", "array_to_lines", "clear_all_key_mode",
    "close_log", "count", "data_to_array", "ds50_to_epoch", "elset_key_mode", "epoch_to_ds50",
    "fields_to_lines", "fields_to_sat_key", "forward_to_logging", "get_all_fields",
    "get_field", "get_lines", "get_loaded", "info", "init", "last_error", "last_info",
    "lines_to_array", "load_file", "names", "open_log", "parse", "remove", "remove_all", "sat_key",
    "save_file", "set_accept_duplicates", "set_all_key_mode", "set_elset_key_mode",
    "set_field", "set_sink", "update_array", "update_fields",
]
