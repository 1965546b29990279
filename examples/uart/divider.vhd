-- Divides a clock: one pulse in `count` cycles, which can be changed while it runs.
library ieee;
use ieee.std_logic_1164.all;
use ieee.numeric_std.all;

entity divider is
    port (
        clk   : in  std_logic;
        rst   : in  std_logic;
        count    : in  unsigned(7 downto 0);
        pulse : out std_logic);
end entity;

architecture rtl of divider is
    signal left : unsigned(7 downto 0);
    signal last : std_logic;
begin
    last <= '1' when left <= 1 else '0';
    process (clk)
    begin
        if rising_edge(clk) then
            if rst = '1' or last = '1' then
                left <= count;
            else
                left <= left - 1;
            end if;
            pulse <= last and not rst;
        end if;
    end process;
end architecture;
