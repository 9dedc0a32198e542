// Nothing but the place where the headers that every test includes are precompiled.
