// Nothing of its own: there for what is compiled before it.
