// A set of precompiled headers belongs to a target, and a target needs a source.
