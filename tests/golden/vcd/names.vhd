-- As names.v; besides, values that only nine-valued logic has.
library ieee;
use ieee.std_logic_1164.all;

entity part is
  port (clk : in std_logic);
end;
architecture rtl of part is
  type state_t is (idle, busy);
  signal \esc+reg\   : std_logic_vector(3 downto 0) := "LLLL";
  signal \q[3]\      : std_logic := 'L';
  signal \a blank\   : std_logic := 'W';
  signal \back\\slash\ : std_logic := '0';
  signal shifted     : std_logic_vector(8 downto 1) := "0000000H";
  signal turned      : std_logic_vector(0 to 7) := "LLLLLLL1";
  signal unset       : std_logic;
  signal level       : real := 0.5;
  signal state       : state_t := idle;
begin
  process (clk)
    variable count : integer := 0;
  begin
    if rising_edge(clk) then
      count := count + 1;
      for i in 0 to 3 loop
        if (count / 2 ** i) mod 2 = 1 then \esc+reg\(i) <= 'H'; else \esc+reg\(i) <= '0'; end if;
      end loop;
      if count mod 2 = 1 then \q[3]\ <= 'H'; else \q[3]\ <= '0'; end if;
      if count mod 2 = 1 then \back\\slash\ <= '0'; else \back\\slash\ <= '1'; end if;
      shifted <= shifted(7 downto 1) & shifted(8);
      turned <= turned(1 to 7) & turned(0);
      level <= level * (-1.5);
      state <= busy;
    end if;
  end process;
end;

library ieee;
use ieee.std_logic_1164.all;

entity top is
end;
architecture rtl of top is
  signal clk : std_logic := '0';
begin
  process begin
    for i in 1 to 8 loop
      wait for 5 ns;
      clk <= not clk;
    end loop;
    wait;
  end process;
  \odd.one\ : entity work.part port map (clk);
end;
