// A test of no file.
