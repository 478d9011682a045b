# widl writes the type library's defaults of optional by-reference parameters as C++ default
# arguments ("LONG *iWAFType = 2"), which C++ does not accept for pointers. They are dropped from
# the header; the defaults stay in the type library, where late-bound callers get them.
file(READ ${HEADER} text)
string(REGEX REPLACE "(\\*[A-Za-z_][A-Za-z_0-9]*) = -?[0-9]+" "\\1" text "${text}")
file(WRITE ${HEADER} "${text}")
