#!/usr/bin/env python3
"""Predicts which addresses a program visits, from its disassembly alone.

    predict_trace.py PROGRAM.elf STEPS > PROGRAM.trace

An interpreter of the text that arm-none-eabi-objdump prints, for the instructions that the example firmware uses; an
instruction that it does not know ends it. It shares nothing with the simulated CPU, so that the tests compare two
opinions. The trace is the program counter before each step, from the reset vector on; an instruction that an IT block
skips is a step, too.
"""
import re
import subprocess
import sys

WORD = 0xFFFFFFFF
REGISTERS = {f"r{i}": i for i in range(16)} | {"sl": 10, "fp": 11, "ip": 12, "sp": 13, "lr": 14, "pc": 15}
CONDITIONS = {
    "eq": lambda f: f["z"], "ne": lambda f: not f["z"],
    "cs": lambda f: f["c"], "cc": lambda f: not f["c"],
    "mi": lambda f: f["n"], "pl": lambda f: not f["n"],
    "vs": lambda f: f["v"], "vc": lambda f: not f["v"],
    "hi": lambda f: f["c"] and not f["z"], "ls": lambda f: not f["c"] or f["z"],
    "ge": lambda f: f["n"] == f["v"], "lt": lambda f: f["n"] != f["v"],
    "gt": lambda f: not f["z"] and f["n"] == f["v"], "le": lambda f: f["z"] or f["n"] != f["v"],
}
OPPOSITE = dict(zip(CONDITIONS, [c for pair in zip(list(CONDITIONS)[1::2], list(CONDITIONS)[::2]) for c in pair]))
SIZES = {"": 4, "h": 2, "b": 1, "sh": 2, "sb": 1}


def listing(elf):
    """Address -> (length, mnemonic, operands)."""
    text = subprocess.run(["arm-none-eabi-objdump", "-d", elf], check=True, capture_output=True, text=True).stdout
    line = re.compile(r"^\s*([0-9a-f]+):\t([0-9a-f]{4}(?: [0-9a-f]{4})?) +\t(\S+)(?:\t([^@\n]*))?", re.M)
    return {int(address, 16): (len(code.replace(" ", "")) // 2, mnemonic, (operands or "").strip())
            for address, code, mnemonic, operands in line.findall(text)}


def image(elf):
    """The bytes of flash, as a programmer would write them."""
    return subprocess.run(["arm-none-eabi-objcopy", "-O", "binary", elf, "/dev/stdout"], check=True,
                          capture_output=True).stdout


class Machine:
    def __init__(self, elf):
        self.code = listing(elf)
        self.memory = dict(enumerate(image(elf)))
        self.r = [0] * 16
        self.flags = {"n": False, "z": False, "c": False, "v": False}
        self.block = []  # conditions of what is left of an IT block
        self.r[13] = self.load(0, 4)
        self.r[15] = self.load(4, 4) & ~1

    def load(self, address, size):
        return int.from_bytes(bytes(self.memory.get(address + i, 0) for i in range(size)), "little")

    def store(self, address, size, value):
        for i, byte in enumerate((value & (1 << 8 * size) - 1).to_bytes(size, "little")):
            self.memory[address + i] = byte

    def step(self):
        address = self.r[15]
        length, mnemonic, operands = self.code[address]
        self.here, self.next = address, address + length
        condition = self.block.pop(0) if self.block else None
        if condition is None:
            self.execute(mnemonic, operands)
        else:
            name = mnemonic.removesuffix(".w").removesuffix(".n")
            assert name.endswith(condition), f"{mnemonic} in an IT block of {condition}"
            if CONDITIONS[condition](self.flags):
                self.execute(name.removesuffix(condition), operands)
        self.r[15] = self.next

    def execute(self, mnemonic, operands):
        name = mnemonic.removesuffix(".w").removesuffix(".n")
        arguments = [a.strip() for a in re.split(r",\s*(?![^\[{]*[\]}])", operands)] if operands else []
        if name in ("nop", "dmb"):
            return
        if re.fullmatch(r"i(t[te]{0,3})", name):
            self.block = [arguments[0] if t == "t" else OPPOSITE[arguments[0]] for t in name[1:]]
        elif name in ("b", "bl") or (name[0] == "b" and name[1:] in CONDITIONS):
            self.branch(name, int(arguments[0].split()[0], 16))
        elif name in ("cbz", "cbnz"):
            if (self.r[REGISTERS[arguments[0]]] == 0) == (name == "cbz"):
                self.next = int(arguments[1].split()[0], 16)
        elif name == "bx":
            self.next = self.r[REGISTERS[arguments[0]]] & ~1
        elif name in ("push", "pop"):
            self.stack(name, [REGISTERS[r.strip()] for r in operands.strip("{}").split(",")])
        elif name[:3] in ("ldr", "str"):
            self.transfer(name, arguments)
        else:
            self.compute(name, arguments)

    def branch(self, name, target):
        if name == "bl":
            self.r[14] = self.next | 1
        if name in ("b", "bl") or CONDITIONS[name[1:]](self.flags):
            self.next = target

    def stack(self, name, registers):
        if name == "push":
            self.r[13] -= 4 * len(registers)
        for i, register in enumerate(sorted(registers)):
            address = self.r[13] + 4 * i
            if name == "push":
                self.store(address, 4, self.r[register])
            elif register == 15:
                self.next = self.load(address, 4) & ~1
            else:
                self.r[register] = self.load(address, 4)
        if name == "pop":
            self.r[13] += 4 * len(registers)

    def transfer(self, name, arguments):
        double = name.endswith("d")
        registers = [REGISTERS[r] for r in arguments[:1 + double]]
        inside = [p.strip() for p in arguments[1 + double].strip("[]").split(",")]
        base = REGISTERS[inside[0]]
        origin = (self.here + 4) & ~3 if base == 15 else self.r[base]
        address = (origin + self.second(inside[1:])) & WORD if len(inside) > 1 else origin
        kind = "" if double else name[3:]
        for i, register in enumerate(registers):
            if name.startswith("str"):
                self.store(address + 4 * i, SIZES[kind], self.r[register])
            else:
                value = self.load(address + 4 * i, SIZES[kind])
                sign = 1 << (8 * SIZES[kind] - 1)
                self.r[register] = ((value ^ sign) - sign) & WORD if kind.startswith("s") else value
        if len(arguments) > 2 + double:  # post-indexed
            self.r[base] = (origin + self.second(arguments[2 + double:])) & WORD

    def second(self, operands):
        """An immediate, or a register with or without a shift."""
        if operands[0].startswith("#"):
            return int(operands[0][1:], 0)
        value = self.r[REGISTERS[operands[0]]]
        if len(operands) == 1:
            return value
        shift, amount = operands[1].split()
        return {"lsl": value << int(amount[1:]) & WORD, "lsr": value >> int(amount[1:])}[shift]

    def compute(self, name, arguments):
        target = REGISTERS[arguments[0]]
        if name == "ubfx":
            value = self.r[REGISTERS[arguments[1]]] >> int(arguments[2][1:]) & (1 << int(arguments[3][1:])) - 1
            self.r[target] = value
            return
        sets_flags = name == "cmp" or name.endswith("s")
        operation = name.rstrip("s") if name.endswith("s") else name
        unary = operation in ("mov", "mvn", "uxtb")
        three = not unary and len(arguments) > 2 and not arguments[2].startswith(("lsl", "lsr"))
        left = self.r[REGISTERS[arguments[1]]] if three else self.r[target]
        right = self.second(arguments[2 if three else 1:])
        carry, overflow = self.flags["c"], self.flags["v"]
        if operation == "add":
            full = left + right
            carry, overflow = full > WORD, bool(~(left ^ right) & (left ^ full) & 0x80000000)
        elif operation in ("sub", "cmp"):
            full = left - right
            carry, overflow = left >= right, bool((left ^ right) & (left ^ full) & 0x80000000)
        else:
            full = {"mov": lambda: right, "mvn": lambda: ~right, "uxtb": lambda: right & 0xFF,
                    "eor": lambda: left ^ right}[operation]()
        value = full & WORD
        if sets_flags:
            self.flags = {"n": value >> 31 == 1, "z": value == 0, "c": carry, "v": overflow}
        if operation != "cmp":
            self.r[target] = value


def main():
    elf, steps = sys.argv[1], int(sys.argv[2])
    machine = Machine(elf)
    visited = []
    for _ in range(steps):
        visited.append(f"{machine.r[15]:x}")
        machine.step()
    for begin in range(0, steps, 16):
        print(" ".join(visited[begin:begin + 16]))


if __name__ == "__main__":
    main()
