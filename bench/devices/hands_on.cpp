// hands_on - a library that defines nothing itself: its .def file names what another one exports.
