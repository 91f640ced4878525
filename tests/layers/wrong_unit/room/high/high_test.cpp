// A test without a target.
