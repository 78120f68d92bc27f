// What a target that only precompiles headers is made of.
