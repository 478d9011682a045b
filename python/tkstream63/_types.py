"""Python-side types of the tkstream63 package: its exception and the rate record."""

from typing import List, NamedTuple

import numpy


class Error(Exception):
    """A failure the library reported.

    The library reports "Error:<description> (No.<number>) In [<source> (Code) (<member>)]";
    the parts are attributes: ``number`` (the classic run-time error number, e.g. 9 "Subscript
    out of range", 13 "Type mismatch", 53 "File not found", 321 a damaged file), ``source``
    (the class, e.g. "rvStreamSet" or "RecordFile"), ``member`` (the procedure) and
    ``description``. ``reports`` holds every report of the call, first one first.
    """

    def __init__(self, text: str, number: int = 0, source: str = "", member: str = "",
                 description: str = "", reports: List[str] = ()):
        super().__init__(text)
        self.number = number
        self.source = source
        self.member = member
        self.description = description or text
        self.reports = list(reports)


class WellRates(NamedTuple):
    """Allocation rates of one well: one entry per partner well."""

    rates: numpy.ndarray   #: float32 rate per partner, from the WAF column asked for
    wells: numpy.ndarray   #: int32 partner well numbers
    names: List[str]       #: partner well names
    other: float           #: the well's other rate
    total: float           #: the well's total rate
