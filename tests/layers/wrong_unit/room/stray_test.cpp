// A test outside of the layers.
