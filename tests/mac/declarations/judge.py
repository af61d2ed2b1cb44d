"""Compares declarations with the published metadata. Every function yields faults as texts."""
from published_metadata import script_name
from syntax_tree import shown
from type_agreement import agree, signatures_agree


class Judge:
    def __init__(self, published):
        self.published = published
        self._adopted = set()

    def faults(self, declared):
        # A protocol that Apple's own classes adopt need not be declared whole.
        self._adopted = {protocol for class_ in declared.classes.values() for protocol in class_.protocols}
        for class_ in declared.classes.values():
            yield from self._class(class_)
        for protocol in declared.protocols.values():
            yield from self._protocol(protocol)
        for name, signature in declared.functions.items():
            yield from self._function(name, signature)
            for index in sorted(declared.takes_nil[name]):  # of no function is it published
                yield f"function {name}: its argument {index + 1} may not be nil"
        for name, value in declared.constants.items():
            yield from self._constant(name, value)
        for name, members in declared.enumerations.items():
            yield from self._enumeration(name, members)
        for name, base in declared.bases.items():
            yield f"enumeration {name}: is based on {base}, which is not published"
        for name, fields in declared.structures.items():
            yield from self._structure(name, fields)
        for name, value in declared.macros.items():
            yield from self._macro(name, value)
        yield from self._typedefs(declared)
        for name, framework in declared.frameworks.items():
            yield from self._framework(name, framework)
        for name in declared.undated:
            yield f"{name}: does not say which version of macOS has it first"

    def _class(self, class_):
        theirs = self.published.classes.get(class_.name)
        if theirs is None:
            yield f"class {class_.name}: not published"
            return
        if class_.superclass and class_.superclass != theirs.superclass:
            yield f"class {class_.name}: its superclass is not {class_.superclass} but {theirs.superclass}"
        for protocol in class_.protocols:
            if not self._adopts(theirs, protocol):
                yield f"class {class_.name}: does not adopt {protocol}"
        yield from self._members(class_, list(self._ancestors(theirs)))

    def _protocol(self, protocol):
        theirs = self.published.protocols.get(self._protocol_name(protocol.name))
        if theirs is None:
            yield f"protocol {protocol.name}: not published"
            return
        for parent in protocol.protocols:
            if not self._adopts(theirs, parent):
                yield f"protocol {protocol.name}: does not adopt {parent}"
        yield from self._members(protocol, list(self._ancestors(theirs)))
        declared = {script_name(name) for name in protocol.required}
        for name in sorted(theirs.required - declared if protocol.name not in self._adopted else ()):
            yield f"protocol {protocol.name}: its required member {name} is not declared, or optional"
        of_objects = {script_name(selector) for selector, of_class in theirs.methods if not of_class}
        of_objects |= {name for name, property_ in theirs.properties.items() if not property_.of_class}
        for name in sorted((declared - theirs.required) & of_objects):
            yield f"protocol {protocol.name}: its member {name} is not required but optional"

    def _protocol_name(self, name):
        """A protocol that has the name of a class has another one there."""
        other = f"{name}Protocol"
        return other if name in self.published.classes and other in self.published.protocols else name

    def _parents(self, interface):
        yield from (self.published.protocols.get(name) for name in interface.protocols)
        yield self.published.classes.get(interface.superclass)

    def _ancestors(self, interface):
        """The interface itself, and all whose members it has besides."""
        yield interface
        for parent in self._parents(interface):
            if parent is not None:
                yield from self._ancestors(parent)

    def _adopts(self, interface, protocol):
        return any(self._protocol_name(protocol) == parent.name for parent in self._ancestors(interface))

    def _members(self, interface, theirs):
        for (selector, of_class), signature in interface.methods.items():
            yield from self._method(interface.name, selector, of_class, signature, theirs)
        for (selector, of_class), taken in interface.takes_nil.items():
            yield from self._takes_nil(shown(interface.name, selector, of_class), selector, of_class, taken, theirs)
        for (selector, of_class), given in interface.gives_nil.items():
            if not given and any(self._gives_nil(other, selector, of_class) for other in theirs):
                yield f"{shown(interface.name, selector, of_class)}: may give nil"
        for name, property_ in interface.properties.items():
            yield from self._property(interface.name, name, property_, theirs)

    def _takes_nil(self, item, selector, of_class, taken, theirs):
        """With Apple's SDK, passing nil where it may not be would not compile."""
        found = [self.published.takes_nil(other, selector, of_class) for other in theirs]
        allowed = set().union(*(arguments for arguments in found if arguments is not None))
        for index in sorted(taken - allowed):
            yield f"{item}: its argument {index + 1} may not be nil"

    def _gives_nil(self, theirs, selector, of_class):
        """Of a property that can be set it is said where it is set."""
        setters = [p.setter for p in theirs.properties.values() if (p.getter, p.of_class) == (selector, of_class)]
        return self.published.gives_nil(theirs, selector, of_class) or any(
            self.published.takes_nil(theirs, setter, of_class) for setter in setters if setter
        )

    def _method(self, owner, selector, of_class, signature, theirs):
        item = shown(owner, selector, of_class)
        found = [s for s in (self._signature(other, selector, of_class) for other in theirs) if s]
        if not found:
            if any(self._signature(other, selector, not of_class) for other in theirs):
                yield f"{item}: is {'an instance' if of_class else 'a class'} method"
            else:
                yield f"{item}: not published"
        elif not any(signatures_agree(signature, other, owner) for other in found):
            yield f"{item}: its types are not {signature} but {found[0]}"

    def _signature(self, interface, selector, of_class):
        if (selector, of_class) in interface.methods:
            return interface.methods[selector, of_class]
        for property_ in interface.properties.values():
            if property_.of_class == of_class and selector == property_.getter:
                return f"{property_.type}()"
            if property_.of_class == of_class and selector == property_.setter:
                return f"void({property_.type})"
        return None

    def _property(self, owner, name, property_, theirs):
        item = f"{owner}.{name}"
        named = [other.properties[name] for other in theirs if name in other.properties]
        of_its_kind = [other for other in named if other.of_class == property_.of_class]
        if named and not of_its_kind:
            yield f"{item}: is a property of {'an instance' if property_.of_class else 'the class'}"
        elif not named and name not in {selector for other in theirs for selector, _ in other.methods}:
            yield f"{item}: not published"
        elif of_its_kind and property_.getter not in {other.getter for other in of_its_kind}:
            yield f"{item}: its getter is not {property_.getter} but {of_its_kind[0].getter}"
        elif of_its_kind and not any(agree(property_.type, other.type, owner) for other in of_its_kind):
            yield f"{item}: its type is not {property_.type} but {of_its_kind[0].type}"
        elif not named:  # a method there
            yield from self._method(owner, property_.getter, property_.of_class, f"{property_.type}()", theirs)
        setter = property_.setter
        if named and setter and not any(self._signature(other, setter, property_.of_class) for other in theirs):
            yield f"{item}: has no setter {setter}"

    def _function(self, name, signature):
        theirs = self.published.functions.get(name)
        if theirs is None:
            yield f"function {name}: not published"
        elif not signatures_agree(signature, theirs):
            yield f"function {name}: its types are not {signature} but {theirs}"

    def _constant(self, name, value):
        theirs = self.published.constants.get(name)
        if theirs is None:
            yield f"constant {name}: not published"
        elif isinstance(value, str) != isinstance(theirs, str):
            yield f"constant {name}: is not {value} but {theirs}"
        elif isinstance(value, str):
            if not agree(value, theirs):
                yield f"constant {name}: its type is not {value} but {theirs}"
        elif value != theirs:
            yield f"constant {name}: its value is not {value} but {theirs}"

    def _enumeration(self, name, members):
        theirs = self.published.enumerations.get(name)
        if theirs is None:  # without a name, its members are constants there
            for member, value in members.items():
                yield from self._constant(member, value)
            return
        around = set()
        for member, value in members.items():
            short = self._short_name(name, member, theirs)
            if short is None:
                yield f"enumerator {member}: not published in {name}"
                continue
            if theirs[short] != value:
                yield f"enumerator {member}: its value is not {value} but {theirs[short]}"
            around.add(tuple(member.split(short, 1)) if short != member else (name, ""))
        for prefix, suffix in sorted(around - {(name, "")}):
            yield f"enumeration {name}: its enumerators are not proven to be {prefix}...{suffix}"

    @staticmethod
    def _short_name(enumeration, member, theirs):
        """What is left of a name there: what the names of an enumeration share is left out."""
        exact = member.removeprefix(enumeration)
        if exact in theirs:
            return exact
        return max((short for short in theirs if short in member), key=len, default=None)

    def _macro(self, name, value):
        theirs = self.published.constants.get(name)
        if theirs is None:
            yield f"macro {name}: not published"
        elif value != str(theirs):
            yield f"macro {name}: its value is not {value} but {theirs}"

    def _structure(self, name, fields):
        theirs = self.published.structures.get(name)
        if theirs is None:
            yield f"structure {name}: not published"
            return
        if list(theirs) != list(fields):
            yield f"structure {name}: its fields are not {', '.join(fields)} but {', '.join(theirs)}"
            return
        for field, type_ in fields.items():
            if not agree(type_, theirs[field]):
                yield f"structure {name}: the type of {field} is not {type_} but {theirs[field]}"

    def _typedefs(self, declared):
        """The names of enumerations and structures are proven with them."""
        known = declared.structures.keys() | self.published.enumerations.keys()
        for name in sorted(declared.typedefs - known):
            yield f"type {name}: not published"

    def _framework(self, name, framework):
        theirs = self.published.frameworks.get(name)
        if framework and theirs and framework not in theirs:
            yield f"{name}: is not of {framework} but of {' and '.join(sorted(theirs))}"
