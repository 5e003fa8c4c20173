// hands_on - a library without definitions of its own: its .def file forwards everything to another library.
